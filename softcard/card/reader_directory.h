// The readers, each a folder `readers/NAME`. The card in a reader is a link `card` in that folder (see
// system/card_link.h), which leads to the card's own folder: a person puts a card in by making the link and
// takes it out by removing it. Removing a card does not remove its reader.
#pragma once

#include "softcard/card/directories.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace softcard {

struct Reader
{
    std::string name;
    std::string card; // empty for a reader without a card
    std::string
        insertion; // another one after each insertion, so that a card which went and came back is seen
};

class ReaderDirectory
{
public:
    explicit ReaderDirectory(const Directories& directories)
        : folder(directories.Readers()), cards(directories.Cards())
    {
    }

    // All readers, sorted by name. What is in a reader counts as a card when it is a link to the folder of
    // one. A card that two readers link to is in the one that got it first; the other counts as empty. Throws
    // std::system_error when the readers' folder cannot be read; one that is missing has no readers.
    [[nodiscard]] std::vector<Reader> List() const;
    [[nodiscard]] std::optional<Reader> Find(const std::string& name) const;

    // Both throw StoreError when it cannot be done, and std::exception. The link appears as a whole. A
    // link that leads to no card makes room for one; anything else that lies there does not. Removing takes
    // every link to the card away.
    void Insert(const std::string& card, const std::string& reader) const;
    void Remove(const std::string& card) const;

    // No other program can insert the card while `destroy` destroys it. A card that is in a reader is taken out
    // before, where that is allowed. Throws StoreError when it is not, and what `destroy` throws.
    void Destroy(const std::string& card, bool takesOut, const std::function<void()>& destroy) const;

    // A reader without a card is made, or one is taken away, together with the card in it if there is one.
    // Both throw StoreError when it cannot be done, and std::system_error.
    void Plug(const std::string& reader) const;
    void Unplug(const std::string& reader) const;

private:
    [[nodiscard]] bool RemoveLinks(const std::string& card) const;

    std::filesystem::path folder;
    std::filesystem::path cards;
};

// The folders of all readers, in no order. Throws std::system_error when they cannot be read.
std::vector<std::filesystem::path> ReaderFolders(const std::filesystem::path& readersFolder);

// Throws StoreError unless the name can stand for a reader: UTF-8 without control characters and '/', 1 to
// 100 bytes, with no leading '.', and a name that the system lets a folder have.
void RequireReaderName(std::string_view name);

} // namespace softcard
