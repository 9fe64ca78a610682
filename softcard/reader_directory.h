// The readers, each a small file `readers/NAME` that says which card is in it. A reader stays when its card
// goes.
#pragma once

#include "directories.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace softcard {

struct Reader
{
    std::string name;
    std::string card;      // empty for a reader without a card
    std::string insertion; // new for each insertion, so that a card which went and came back is seen
};

class ReaderDirectory
{
public:
    explicit ReaderDirectory(const Directories& directories) : folder_(directories.Readers()) {}

    [[nodiscard]] const std::filesystem::path& Folder() const { return folder_; }

    // All readers, sorted by name. One whose file cannot be understood counts as empty.
    [[nodiscard]] std::vector<Reader> List() const;
    [[nodiscard]] std::optional<Reader> Find(const std::string& name) const;

    // Both throw StoreError when it cannot be done, and std::system_error.
    void Insert(const std::string& card, const std::string& reader) const;
    void Remove(const std::string& card) const;

    // A reader without a card is made, or one is taken away, together with the card in it if there is one.
    // Both throw StoreError when it cannot be done, and std::system_error.
    void Plug(const std::string& reader) const;
    void Unplug(const std::string& reader) const;

private:
    std::filesystem::path folder_;
};

// Throws StoreError unless the name can stand for a reader: UTF-8 without control characters and '/', 1 to
// 100 bytes, with no leading '.'.
void RequireReaderName(std::string_view name);

} // namespace softcard
