#include "reader_directory.h"

#include "card_store.h"
#include "files.h"
#include "store_error.h"
#include "text.h"

#include <algorithm>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>

#include <sys/stat.h>

namespace softcard {
namespace {

namespace fs = std::filesystem;

constexpr size_t longestName = 100;
constexpr const char* linkName = "card"; // one name, so that a reader has room for one card

bool IsReaderName(std::string_view name)
{
    if (name.empty() || name.size() > longestName || name.front() == '.') {
        return false;
    }
    const auto characters = DecodeUtf8(name);
    return characters && std::none_of(characters->begin(), characters->end(), [](char32_t character) {
               return character < U' ' || (character >= 0x7F && character < 0xA0) || character == U'/';
           });
}

// A folder itself: a link to one is no reader.
bool IsFolder(const fs::path& path)
{
    std::error_code ignored;
    return fs::symlink_status(path, ignored).type() == fs::file_type::directory;
}

bool IsLink(const fs::path& path)
{
    std::error_code ignored;
    return fs::is_symlink(fs::symlink_status(path, ignored));
}

// The name of the card that the link leads to, empty when it leads elsewhere or nowhere.
std::string CardBehind(const fs::path& link, const fs::path& cards)
{
    std::error_code linkError;
    std::error_code cardsError;
    const fs::path target = fs::canonical(link, linkError);
    const fs::path store = fs::canonical(cards, cardsError);
    if (linkError || cardsError || target.parent_path() != store) {
        return {};
    }
    std::string name = target.filename().string();
    return !name.starts_with('.') && HasCardDescription(target) ? name : std::string();
}

struct FoundReader
{
    Reader reader;
    timespec since{}; // when its link was made or moved here
};

std::string Describe(const struct stat& file)
{
    return std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino);
}

std::string Describe(const timespec& time)
{
    return std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
}

// A link that is made has a number of its own, and one that is moved or made in the place of another has a
// new time of change. The folders tell a reader and a card from others that took their names.
FoundReader LookInto(const fs::path& folder, const fs::path& cards)
{
    FoundReader found{{folder.filename().string(), {}, {}}, {}};
    const fs::path path = folder / linkName;
    struct stat reader
    {
    };
    struct stat link
    {
    };
    struct stat card
    {
    };
    if (lstat(folder.c_str(), &reader) != 0 || lstat(path.c_str(), &link) != 0 || !S_ISLNK(link.st_mode) ||
        stat(path.c_str(), &card) != 0) {
        return found;
    }
    found.reader.card = CardBehind(path, cards);
    if (!found.reader.card.empty()) {
        found.since = link.st_ctim;
        found.reader.insertion =
            Describe(reader) + " " + Describe(link) + " " + Describe(link.st_ctim) + " " + Describe(card);
    }
    return found;
}

// Takes a card that several readers have out of all but the first of them.
void RefuseSecondPlaces(std::vector<FoundReader>& readers)
{
    std::sort(readers.begin(), readers.end(), [](const FoundReader& a, const FoundReader& b) {
        return std::tie(a.since.tv_sec, a.since.tv_nsec, a.reader.name) <
               std::tie(b.since.tv_sec, b.since.tv_nsec, b.reader.name);
    });
    std::set<std::string> placed;
    for (FoundReader& found : readers) {
        if (!found.reader.card.empty() && !placed.insert(found.reader.card).second) {
            found.reader = {found.reader.name, {}, {}};
        }
    }
}

// The dot in front of its name keeps the lock out of the list of readers.
FileLock LockReaders(const fs::path& folder)
{
    EnsurePrivateFolder(folder);
    return FileLock(folder / ".lock");
}

void MakeReader(const fs::path& folder)
{
    EnsurePrivateFolder(folder);
    if (!IsFolder(folder)) {
        throw StoreError(StoreFailure::readerOccupied,
                         "\"" + folder.string() + "\" is in the place of a reader's folder.");
    }
}

} // namespace

std::vector<fs::path> ReaderFolders(const fs::path& readersFolder)
{
    std::vector<fs::path> folders;
    if (!fs::exists(readersFolder)) {
        return folders;
    }
    for (const auto& entry : fs::directory_iterator(readersFolder)) {
        if (IsReaderName(entry.path().filename().string()) && IsFolder(entry.path())) {
            folders.push_back(entry.path());
        }
    }
    return folders;
}

std::vector<Reader> ReaderDirectory::List() const
{
    std::vector<FoundReader> found;
    for (const fs::path& folder : ReaderFolders(folder_)) {
        found.push_back(LookInto(folder, cards_));
    }
    RefuseSecondPlaces(found);
    std::vector<Reader> readers;
    readers.reserve(found.size());
    for (FoundReader& each : found) {
        readers.push_back(std::move(each.reader));
    }
    std::sort(readers.begin(), readers.end(),
              [](const Reader& a, const Reader& b) { return a.name < b.name; });
    return readers;
}

std::optional<Reader> ReaderDirectory::Find(const std::string& name) const
{
    std::vector<Reader> readers = List();
    const auto found = std::find_if(readers.begin(), readers.end(),
                                    [&](const Reader& reader) { return reader.name == name; });
    return found == readers.end() ? std::nullopt : std::optional(std::move(*found));
}

void ReaderDirectory::Insert(const std::string& card, const std::string& reader) const
{
    RequireReaderName(reader);
    const FileLock lock = LockReaders(folder_);
    for (const Reader& present : List()) {
        if (present.card == card) {
            throw StoreError(StoreFailure::alreadyInserted,
                             "The card \"" + card + "\" is already in the reader \"" + present.name + "\".");
        }
        if (present.name == reader && !present.card.empty()) {
            throw StoreError(StoreFailure::readerOccupied,
                             "The card \"" + present.card + "\" is in the reader \"" + reader + "\".");
        }
    }
    MakeReader(folder_ / reader);
    const fs::path link = folder_ / reader / linkName;
    if (fs::exists(fs::symlink_status(link)) && !IsLink(link)) {
        throw StoreError(StoreFailure::readerOccupied,
                         "Something that is no card is in the reader \"" + reader + "\".");
    }
    LinkAtomically((cards_ / card).lexically_relative(link.parent_path()), link);
}

void ReaderDirectory::Remove(const std::string& card) const
{
    const FileLock lock = LockReaders(folder_);
    bool wasInserted = false;
    for (const fs::path& folder : ReaderFolders(folder_)) {
        const fs::path link = folder / linkName;
        if (IsLink(link) && CardBehind(link, cards_) == card) {
            RemoveFile(link);
            wasInserted = true;
        }
    }
    if (!wasInserted) {
        throw StoreError(StoreFailure::notInserted, "The card \"" + card + "\" is in no reader.");
    }
}

void ReaderDirectory::Plug(const std::string& reader) const
{
    RequireReaderName(reader);
    const FileLock lock = LockReaders(folder_);
    MakeReader(folder_ / reader);
}

void ReaderDirectory::Unplug(const std::string& reader) const
{
    RequireReaderName(reader);
    const FileLock lock = LockReaders(folder_);
    if (!IsFolder(folder_ / reader)) {
        throw StoreError(StoreFailure::unknownReader, "There is no reader named \"" + reader + "\".");
    }
    fs::remove_all(folder_ / reader);
}

void RequireReaderName(std::string_view name)
{
    if (!IsReaderName(name)) {
        throw StoreError(
            StoreFailure::badArgument,
            "A reader's name is 1 to 100 bytes of UTF-8 without control characters and '/', and does "
            "not begin with '.'.");
    }
}

} // namespace softcard
