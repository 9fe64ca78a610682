#include "reader_directory.h"

#include "files.h"
#include "store_error.h"
#include "text.h"

#include <botan/auto_rng.h>
#include <botan/hex.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <system_error>

namespace softcard {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t longestName = 100;
constexpr size_t insertionLength = 16;

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

std::string MakeInsertion()
{
    std::vector<uint8_t> bytes(insertionLength);
    Botan::AutoSeeded_RNG().randomize(bytes.data(), bytes.size());
    return Botan::hex_encode(bytes, false);
}

void WriteReader(const std::filesystem::path& folder, const Reader& reader)
{
    const Json json = {{"card", reader.card}, {"insertion", reader.insertion}};
    WriteFileAtomically(folder / reader.name, json.dump() + "\n");
}

// The dot in front of its name keeps the lock out of the list of readers.
FileLock LockReaders(const std::filesystem::path& folder)
{
    EnsurePrivateFolder(folder);
    return FileLock(folder / ".lock");
}

} // namespace

std::vector<Reader> ReaderDirectory::List() const
{
    std::vector<Reader> readers;
    if (!std::filesystem::is_directory(folder_)) {
        return readers;
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
        auto reader = Find(entry.path().filename().string());
        if (reader) {
            readers.push_back(std::move(*reader));
        }
    }
    std::sort(readers.begin(), readers.end(),
              [](const Reader& a, const Reader& b) { return a.name < b.name; });
    return readers;
}

std::optional<Reader> ReaderDirectory::Find(const std::string& name) const
{
    if (!IsReaderName(name)) {
        return std::nullopt;
    }
    Reader reader{name, {}, {}};
    try {
        const Json json = Json::parse(ReadFile(folder_ / name));
        json.at("card").get_to(reader.card);
        json.at("insertion").get_to(reader.insertion);
    } catch (const std::system_error&) {
        return std::nullopt;
    } catch (const Json::exception&) {
        return Reader{name, {}, {}};
    }
    return reader;
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
    WriteReader(folder_, {reader, card, MakeInsertion()});
}

void ReaderDirectory::Remove(const std::string& card) const
{
    const FileLock lock = LockReaders(folder_);
    for (const Reader& present : List()) {
        if (present.card == card) {
            WriteReader(folder_, {present.name, {}, {}});
            return;
        }
    }
    throw StoreError(StoreFailure::notInserted, "The card \"" + card + "\" is in no reader.");
}

void ReaderDirectory::Plug(const std::string& reader) const
{
    RequireReaderName(reader);
    const FileLock lock = LockReaders(folder_);
    if (!Find(reader)) {
        WriteReader(folder_, {reader, {}, {}});
    }
}

void ReaderDirectory::Unplug(const std::string& reader) const
{
    RequireReaderName(reader);
    const FileLock lock = LockReaders(folder_);
    if (!std::filesystem::remove(folder_ / reader)) {
        throw StoreError(StoreFailure::unknownReader, "There is no reader named \"" + reader + "\".");
    }
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
