#include "softcard/card/reader_directory.h"

#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/card/card_store.h"
#include "softcard/system/card_link.h"
#include "softcard/system/files.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <system_error>
#include <tuple>
#include <utility>

namespace softcard {
namespace {

namespace fs = std::filesystem;

constexpr size_t longestReaderName = 100;
constexpr const char* linkName = "card"; // one name, so that a reader has room for one card

bool IsReaderName(std::string_view name)
{
    if (name.empty() || name.size() > longestReaderName || name.front() == '.' || !CanBeAName(name)) {
        return false;
    }
    const auto characters = DecodeUtf8(name);
    return characters && std::none_of(characters->begin(), characters->end(), [](char32_t character) {
               return character < U' ' || (character >= 0x7F && character < 0xA0);
           });
}

// The name of the card that the link leads to, empty when it leads to none.
std::string LinkedCard(const fs::path& link, const fs::path& cards)
{
    std::string name = CardBehind(link, cards);
    return IsCardName(name) && HasCardDescription(cards / PathOf(name)) ? name : std::string();
}

struct FoundReader
{
    Reader reader;
    std::chrono::nanoseconds since{}; // when its link was made or moved here
    std::string cardFolder;           // see Insertion::card
};

bool CameBefore(const FoundReader& a, const FoundReader& b)
{
    return std::tie(a.since, a.reader.name) < std::tie(b.since, b.reader.name);
}

FoundReader LookInto(const fs::path& folder, const fs::path& cards)
{
    FoundReader found{{Utf8Of(folder.filename()), {}, {}}, {}, {}};
    const fs::path link = folder / linkName;
    const auto insertion = DescribeInsertion(link);
    if (!insertion) {
        return found;
    }
    found.reader.card = LinkedCard(link, cards);
    if (!found.reader.card.empty()) {
        found.since = insertion->since;
        found.reader.insertion = insertion->mark;
        found.cardFolder = insertion->card;
    }
    return found;
}

// Takes a card that several readers have out of all but the first of them.
void RefuseSecondPlaces(std::vector<FoundReader>& readers)
{
    std::sort(readers.begin(), readers.end(), CameBefore);
    std::set<std::string> placed;
    for (FoundReader& found : readers) {
        if (!found.reader.card.empty() && !placed.insert(found.reader.card).second) {
            found.reader = {found.reader.name, {}, {}};
        }
    }
}

// Whether the reader in the other folder has got the card before. Nearly always it has another one, which shows before
// its link is followed.
bool HadItBefore(const fs::path& other, const FoundReader& reader, const fs::path& cards)
{
    const auto insertion = DescribeInsertion(other / linkName);
    if (!insertion || insertion->card != reader.cardFolder) {
        return false;
    }
    const FoundReader found = LookInto(other, cards);
    return found.reader.card == reader.reader.card && CameBefore(found, reader);
}

// The dot in front of its name keeps the lock out of the list of readers.
FileLock LockReaders(const fs::path& folder)
{
    EnsurePrivateFolder(folder);
    return FileLock(folder / ".lock");
}

// It may have been deleted a moment ago.
void RequireInsertable(const fs::path& folder, const std::string& card)
{
    if (HasCardDescription(folder)) {
        return;
    }
    if (!IsFolder(folder)) {
        throw StoreError(StoreFailure::unknownCard, "There is no card named \"" + card + "\".");
    }
    throw StoreTrouble("The card \"" + card + "\" is broken: it has no card.json in \"" + Utf8Of(folder) +
                       "\". Delete it, and make it anew.");
}

void MakeReader(const fs::path& folder)
{
    EnsurePrivateFolder(folder);
    if (!IsFolder(folder) || !HasThisName(folder)) {
        throw StoreError(StoreFailure::readerOccupied,
                         "\"" + Utf8Of(folder) + "\" is in the place of a reader's folder.");
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
        if (IsReaderName(Utf8Of(entry.path().filename())) && IsFolder(entry.path())) {
            folders.push_back(entry.path());
        }
    }
    return folders;
}

std::vector<Reader> ReaderDirectory::List() const
{
    std::vector<FoundReader> found;
    for (const fs::path& reader : ReaderFolders(folder)) {
        found.push_back(LookInto(reader, cards));
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
    const std::vector<fs::path> folders = ReaderFolders(folder);
    const auto own = std::find_if(folders.begin(), folders.end(),
                                  [&](const fs::path& reader) { return Utf8Of(reader.filename()) == name; });
    if (own == folders.end()) {
        return std::nullopt;
    }
    FoundReader found = LookInto(*own, cards);
    const auto hadItBefore = [&](const fs::path& other) {
        return other != *own && HadItBefore(other, found, cards);
    };
    if (!found.reader.card.empty() && std::any_of(folders.begin(), folders.end(), hadItBefore)) {
        found.reader = {name, {}, {}};
    }
    return std::move(found.reader);
}

void ReaderDirectory::Insert(const std::string& card, const std::string& reader) const
{
    RequireReaderName(reader);
    const FileLock lock = LockReaders(folder);
    RequireInsertable(cards / PathOf(card), card);
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
    const fs::path ownFolder = folder / PathOf(reader);
    MakeReader(ownFolder);
    const fs::path link = ownFolder / linkName;
    if (fs::exists(fs::symlink_status(link)) && !IsCardLink(link)) {
        throw StoreError(StoreFailure::readerOccupied,
                         "Something that is no card is in the reader \"" + reader + "\".");
    }
    MakeCardLink(cards / PathOf(card), link);
    if (LinkedCard(link, cards) != card) {
        RemoveFile(link);
        throw StoreTrouble("The card \"" + card +
                           "\" cannot be put into a reader: its folder, or the "
                           "readers' folder, is a link to elsewhere.");
    }
}

void ReaderDirectory::Remove(const std::string& card) const
{
    const FileLock lock = LockReaders(folder);
    if (!RemoveLinks(card)) {
        throw StoreError(StoreFailure::notInserted, "The card \"" + card + "\" is in no reader.");
    }
}

void ReaderDirectory::Destroy(const std::string& card, bool takesOut,
                              const std::function<void()>& destroy) const
{
    const FileLock lock = LockReaders(folder);
    for (const Reader& reader : List()) {
        if (reader.card == card && !takesOut) {
            throw StoreError(StoreFailure::alreadyInserted, "The card \"" + card + "\" is in the reader \"" +
                                                                reader.name +
                                                                "\"; --force takes it out first.");
        }
    }
    (void)RemoveLinks(card);
    destroy();
}

// Every link to the card. False when there is none.
bool ReaderDirectory::RemoveLinks(const std::string& card) const
{
    bool wasInserted = false;
    for (const fs::path& reader : ReaderFolders(folder)) {
        const fs::path link = reader / linkName;
        if (IsCardLink(link) && LinkedCard(link, cards) == card) {
            RemoveFile(link);
            wasInserted = true;
        }
    }
    return wasInserted;
}

void ReaderDirectory::Plug(const std::string& reader) const
{
    RequireReaderName(reader);
    const FileLock lock = LockReaders(folder);
    MakeReader(folder / PathOf(reader));
}

void ReaderDirectory::Unplug(const std::string& reader) const
{
    RequireReaderName(reader);
    const FileLock lock = LockReaders(folder);
    const fs::path ownFolder = folder / PathOf(reader);
    if (!IsFolder(ownFolder) || !HasThisName(ownFolder)) {
        throw StoreError(StoreFailure::unknownReader, "There is no reader named \"" + reader + "\".");
    }
    fs::remove_all(ownFolder);
}

void RequireReaderName(std::string_view name)
{
    if (!IsReaderName(name)) {
        throw StoreError(
            StoreFailure::badArgument,
            "A reader's name is 1 to 100 bytes of UTF-8 without control characters and '/', and does "
            "not begin with '.'." +
                std::string(NameRule()));
    }
}

} // namespace softcard
