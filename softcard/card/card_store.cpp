#include "softcard/card/card_store.h"

#include "softcard/base/store_error.h"
#include "softcard/card/file_trouble.h"
#include "softcard/card/json_file.h"
#include "softcard/card/key_file.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>
#include <system_error>

namespace softcard {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* descriptionFile = "card.json";
constexpr size_t longestCardName = 64;
constexpr uint32_t mostReference = 4;

bool IsNameCharacter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '_' || character == '.';
}

Json KeysToJson(const std::vector<CardKey>& keys)
{
    Json json = Json::array();
    for (const CardKey& key : keys) {
        json.push_back(
            {{"reference", key.reference}, {"certificate", key.certificateFile}, {"key", key.keyFile}});
    }
    return json;
}

// The name of a file that lies in the card's folder itself.
std::string FileNameIn(const nlohmann::json& json, const char* name)
{
    auto file = json.at(name).get<std::string>();
    if (file.empty() || file.front() == '.' || file.find_first_of("/\\") != std::string::npos ||
        !CanBeAName(file)) {
        throw std::out_of_range(name);
    }
    return file;
}

std::vector<CardKey> KeysFromJson(const nlohmann::json& json, const std::filesystem::path& folder)
{
    std::vector<CardKey> keys;
    if (!json.is_array() || json.size() > mostKeys) {
        throw std::out_of_range("keys");
    }
    for (const nlohmann::json& entry : json) {
        CardKey key;
        key.reference = NumberIn(entry, "reference", 1, mostReference);
        key.certificateFile = FileNameIn(entry, "certificate");
        key.keyFile = FileNameIn(entry, "key");
        const std::string certificate = ReadFile(folder / key.certificateFile);
        key.certificate.assign(certificate.begin(), certificate.end());
        keys.push_back(std::move(key));
    }
    return keys;
}

void TakeVersions(const nlohmann::json& json, std::array<uint8_t, 4>& versions)
{
    if (!json.is_array() || json.size() != versions.size()) {
        throw std::out_of_range("versions");
    }
    for (size_t i = 0; i < versions.size(); ++i) {
        if (!json[i].is_number_unsigned() || json[i].get<uint64_t>() > std::numeric_limits<uint8_t>::max()) {
            throw std::out_of_range("versions");
        }
        versions[i] = json[i].get<uint8_t>();
    }
}

// Gives a key of the old form the one of today, in one step: a program that is killed leaves one or the other.
// The key can be used all the same when that fails, and the next use tries again.
void RenewKeyFile(const std::filesystem::path& cardFolder, const std::filesystem::path& file,
                  const SecretBytes& secret)
{
    try {
        const FileLock lock = LockCard(cardFolder);
        const StoredKey stored = ReadKeyFile(file, secret); // another process may have replaced it already
        if (stored.isInOldForm) {
            WriteKeyFile(file, *stored.key, secret);
        }
    } catch (const std::exception&) {
        return;
    }
}

} // namespace

bool HasCardDescription(const std::filesystem::path& folder)
{
    std::error_code ignored; // one card that cannot be looked at must not hide the others
    return std::filesystem::exists(folder / descriptionFile, ignored);
}

bool CardStore::Contains(const std::string& name) const
{
    if (!IsCardName(name)) {
        return false;
    }
    const std::filesystem::path card = FolderOf(name);
    return (HasCardDescription(card) || IsFolder(card)) && HasThisName(card);
}

std::vector<std::string> CardStore::Names() const
{
    std::vector<std::string> names;
    if (!std::filesystem::is_directory(folder)) {
        return names;
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::string name = Utf8Of(entry.path().filename());
        if (Contains(name)) {
            names.push_back(std::move(name));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

Card CardStore::Load(const std::string& name) const
{
    if (!Contains(name)) {
        throw StoreError(StoreFailure::unknownCard, "There is no card named \"" + name + "\".");
    }
    Card card;
    card.name = name;
    card.folder = FolderOf(name);
    return ReadJsonFile(card.folder / descriptionFile, mendCard, [&card](const nlohmann::json& json) {
        json.at("serialNumber").get_to(card.serialNumber);
        json.at("subject").get_to(card.subject);
        json.at("manufacturer").get_to(card.manufacturer);
        json.at("model").get_to(card.model);
        TakeVersions(json.at("versions"), card.versions);
        card.qualifiedKeys = KeysFromJson(json.at("qes"), card.folder);
        card.ordinaryKeys = KeysFromJson(json.at("es"), card.folder);
        return std::move(card);
    });
}

bool IsCardName(std::string_view name)
{
    return !name.empty() && name.size() <= longestCardName && name.front() != '.' &&
           std::all_of(name.begin(), name.end(), IsNameCharacter) && CanBeAName(name);
}

void RequireCardName(std::string_view name)
{
    if (!IsCardName(name)) {
        throw StoreError(
            StoreFailure::badArgument,
            "A card's name is 1 to 64 letters, digits, '-', '_' and '.', and does not begin with '.'." +
                std::string(NameRule()));
    }
}

void WriteCardDescription(const Card& card)
{
    const Json json = {{"serialNumber", card.serialNumber},  {"subject", card.subject},
                       {"manufacturer", card.manufacturer},  {"model", card.model},
                       {"versions", card.versions},          {"qes", KeysToJson(card.qualifiedKeys)},
                       {"es", KeysToJson(card.ordinaryKeys)}};
    WriteFileAtomically(card.folder / descriptionFile, json.dump(4) + "\n");
}

PrivateKeys LoadPrivateKeys(const Card& card, KeyFamily family, const SecretBytes& secret)
{
    PrivateKeys keys;
    for (const CardKey& key : card.Keys(family)) {
        const std::filesystem::path file = card.folder / key.keyFile;
        StoredKey stored = ReadKeyFile(file, secret);
        if (stored.isInOldForm) {
            RenewKeyFile(card.folder, file, secret);
        }
        keys.push_back(std::move(stored.key));
    }
    return keys;
}

void AddKey(Card& card, KeyFamily family, const NewKey& key, const SecretBytes& secret)
{
    std::vector<CardKey>& keys = card.Keys(family);
    const std::string base =
        (family == KeyFamily::qualified ? "qes-" : "es-") + std::to_string(keys.size() + 1);
    CardKey added{key.reference, base + ".der", base + ".key", key.certificate};
    WriteFileAtomically(card.folder / added.certificateFile,
                        {reinterpret_cast<const char*>(key.certificate.data()), key.certificate.size()});
    WriteKeyFile(card.folder / added.keyFile, key.key, secret);
    keys.push_back(std::move(added));
}

namespace {

// Where the card's folder is after that. Throws StoreError when another program has deleted it.
std::filesystem::path TakeOutOfStore(const CardStore& store, const std::string& name)
{
    const std::string unknown = "There is no card named \"" + name + "\".";
    if (!store.Contains(name)) {
        throw StoreError(StoreFailure::unknownCard, unknown);
    }
    try {
        for (int number = 0;; ++number) { // another one may be being taken apart
            std::string hidden = "." + name;
            hidden += number == 0 ? std::string() : "." + std::to_string(number);
            hidden += deletedEnding;
            std::filesystem::path place = store.FolderOf(hidden);
            if (MoveFolder(store.FolderOf(name), place)) {
                return place;
            }
        }
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory) {
            throw StoreError(StoreFailure::unknownCard, unknown);
        }
        throw;
    }
}

} // namespace

void DeleteCard(const CardStore& store, const std::string& name)
{
    const auto taken = TakeOutOfStore(store, name);
    std::error_code error;
    std::filesystem::remove_all(taken, error);
    if (error && std::filesystem::exists(std::filesystem::symlink_status(taken))) {
        throw StoreTrouble("The card \"" + name +
                           "\" is deleted, but not all of its files can be removed from \"" + Utf8Of(taken) +
                           "\": remove that folder by hand.");
    }
}

FileLock LockCard(const std::filesystem::path& cardFolder)
{
    const std::filesystem::path file = LockFileOf(cardFolder, "lock");
    try {
        return FileLock(file);
    } catch (const std::system_error& error) {
        if (error.code() != FileFault::lockHeld) {
            throw;
        }
        throw StoreError(StoreFailure::cardBusy, "Another program keeps the card locked, with \"" +
                                                     Utf8Of(file) +
                                                     "\": let it go on, or end it, and try again.");
    }
}

} // namespace softcard
