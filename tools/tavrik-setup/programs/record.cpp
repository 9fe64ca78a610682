#include "tools/tavrik-setup/programs/record.h"

#include "softcard/base/text.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <botan/hash.h>
#include <botan/hex.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace setup {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

constexpr int recordIndentation = 2;

json ToJson(const Entry& entry)
{
    json folders = json::array();
    for (const fs::path& folder : entry.madeFolders) {
        folders.push_back(softcard::Utf8Of(folder));
    }
    // Bytes as they were in the file, which need not be UTF-8.
    const auto* text = reinterpret_cast<const uint8_t*>(entry.piece.text.data());
    return {{"program", entry.program},     {"file", softcard::Utf8Of(entry.file)},
            {"offset", entry.piece.offset}, {"text", Botan::hex_encode(text, entry.piece.text.size())},
            {"digest", entry.digest},       {"madeFile", entry.madeFile},
            {"madeFolders", folders},       {"madeBeside", entry.madeBeside}};
}

Entry FromJson(const json& value)
{
    Entry entry;
    entry.program = value.at("program").get<std::string>();
    entry.file = softcard::PathOf(value.at("file").get<std::string>());
    entry.piece.offset = value.at("offset").get<size_t>();
    const auto text = Botan::hex_decode(value.at("text").get<std::string>());
    entry.piece.text.assign(text.begin(), text.end());
    entry.digest = value.at("digest").get<std::string>();
    entry.madeFile = value.at("madeFile").get<bool>();
    for (const json& folder : value.at("madeFolders")) {
        entry.madeFolders.push_back(softcard::PathOf(folder.get<std::string>()));
    }
    entry.madeBeside = value.at("madeBeside").get<std::map<std::string, std::string>>();
    return entry;
}

std::vector<Entry> Parse(const std::optional<std::string>& content, const fs::path& path)
{
    std::vector<Entry> entries;
    try {
        for (const json& value : content ? json::parse(*content) : json::array()) {
            entries.push_back(FromJson(value));
        }
    } catch (const std::exception&) {
        throw Refusal(softcard::Utf8Of(path) + ", which says what tavrik-setup has changed, is damaged.");
    }
    return entries;
}

bool IsBelow(const fs::path& file, const fs::path& folder)
{
    return std::mismatch(folder.begin(), folder.end(), file.begin(), file.end()).first == folder.end();
}

void HandOver(const fs::path& folder, std::vector<Entry>& entries)
{
    for (Entry& entry : entries) {
        if (IsBelow(entry.file, folder) && IsThere(folder)) {
            entry.madeFolders.insert(entry.madeFolders.begin(), folder);
            return;
        }
    }
}

void Erase(std::vector<Entry>& entries, const std::string& program, const fs::path& file)
{
    std::erase_if(entries,
                  [&](const Entry& entry) { return entry.program == program && entry.file == file; });
}

} // namespace

std::string DigestOf(const std::string& content)
{
    const auto hash = Botan::HashFunction::create_or_throw("SHA-256");
    hash->update(content);
    return Botan::hex_encode(hash->final(), false);
}

Record::Record(fs::path itsFile, Readers itsReaders) : path(std::move(itsFile)), readers(itsReaders) {}

std::vector<Entry> Record::Of(const std::string& program) const
{
    std::vector<Entry> entries = Parse(ReadIfThere(path), path);
    std::erase_if(entries, [&](const Entry& entry) { return entry.program != program; });
    return entries;
}

std::optional<Entry> Record::Find(const std::string& program, const fs::path& file) const
{
    for (const Entry& entry : Parse(ReadIfThere(path), path)) {
        if (entry.program == program && entry.file == file) {
            return entry;
        }
    }
    return std::nullopt;
}

void Record::Put(const Entry& entry) const
{
    const auto before = ReadIfThere(path);
    std::vector<Entry> entries = Parse(before, path);
    Erase(entries, entry.program, entry.file);
    entries.push_back(entry);
    Store(before, entries);
}

void Record::Drop(const std::string& program, const fs::path& file) const
{
    const auto before = ReadIfThere(path);
    std::vector<Entry> entries = Parse(before, path);
    std::vector<fs::path> folders;
    for (const Entry& entry : entries) {
        if (entry.program == program && entry.file == file) {
            folders = entry.madeFolders;
        }
    }
    Erase(entries, program, file);
    std::for_each(folders.rbegin(), folders.rend(),
                  [&](const fs::path& folder) { HandOver(folder, entries); });
    Store(before, entries);
}

void Record::Store(const std::optional<std::string>& before, const std::vector<Entry>& entries) const
{
    if (entries.empty()) {
        if (before) {
            RemoveFile(path, *before);
            DeleteEmptyFolders({path.parent_path()}); // which has our name
        }
        return;
    }
    json list = json::array();
    for (const Entry& entry : entries) {
        list.push_back(ToJson(entry));
    }
    MakeFolders(path.parent_path(), readers);
    ReplaceContent(path, before, list.dump(recordIndentation, ' ', true) + "\n", Readers::owner);
}

} // namespace setup
