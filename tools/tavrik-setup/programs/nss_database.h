// An NSS database, which modutil works on.
#pragma once

#include "tools/tavrik-setup/programs/place.h"
#include "tools/tavrik-setup/programs/record.h"

#include <filesystem>
#include <optional>
#include <string>

namespace setup {

inline constexpr const char* nssModuleList = "pkcs11.txt"; // the file of a database that names its modules
inline constexpr const char* nssModuleName = "tavrik";

class NssDatabase
{
public:
    NssDatabase(std::filesystem::path itsFolder, const Place& place);

    [[nodiscard]] bool Exists() const;

    // Whether it has the module, under whatever name, and whether it has one under our name.
    [[nodiscard]] bool Names(const std::filesystem::path& module) const;
    [[nodiscard]] bool HasName() const;

    // Throws Refusal when the tools are missing, or a browser is at work with it.
    void RequireUsable() const;

    // What a person would type for the same.
    [[nodiscard]] std::string Commands(const std::filesystem::path& module, bool replaces) const;
    [[nodiscard]] std::string CommandsToRemove(const Entry& entry) const;

    // Makes the database where there is none, and adds the module, in the place of the earlier one. Throws Refusal, and then
    // has left all as it was.
    [[nodiscard]] Entry Add(const std::filesystem::path& module, const std::optional<Entry>& earlier) const;

    // Whether we made it, and nobody has put anything into it since.
    [[nodiscard]] bool IsAsMade(const Entry& entry) const;

    // Takes the module away, to the byte where nothing has changed since, and a database that is as we made it. Throws
    // Refusal.
    void Remove(const Entry& entry) const;

private:
    [[nodiscard]] std::string ModuleList() const;
    void Make() const;
    void AddTo(Entry& entry, const std::filesystem::path& module, bool replaces) const;
    void Delete(const Entry& entry) const;
    void Run(const std::filesystem::path& tool, const std::vector<std::string>& arguments) const;
    [[nodiscard]] bool IsUnchanged(const Entry& entry) const;

    std::filesystem::path folder;
    std::filesystem::path modutil;
    std::filesystem::path certutil;
};

} // namespace setup
