// A library in memory, read as the loader reads it.
#pragma once

#include <string>
#include <vector>

namespace blackbox {

class LoadedImage
{
public:
    explicit LoadedImage(void* library) : base(static_cast<const char*>(library)) {}

    [[nodiscard]] std::vector<std::string> ExportedNames() const;
    [[nodiscard]] std::vector<std::string> NeededLibraries() const;
    [[nodiscard]] std::vector<std::string> ImportedNames() const;

private:
    template <typename Record>
    [[nodiscard]] const Record* At(unsigned long offset) const;
    template <typename Record>
    [[nodiscard]] const Record* Directory(unsigned number) const; // null when there is none

    const char* base;
};

} // namespace blackbox
