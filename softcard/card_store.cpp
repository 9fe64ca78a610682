#include "card_store.h"

#include "key_file.h"
#include "store_error.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <system_error>

namespace softcard {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* descriptionFile = "card.json";
constexpr size_t longestName = 64;

bool IsNameCharacter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '_' || character == '.';
}

Json ToJson(const std::vector<CardKey>& keys)
{
    Json json = Json::array();
    for (const CardKey& key : keys) {
        json.push_back(
            {{"reference", key.reference}, {"certificate", key.certificateFile}, {"key", key.keyFile}});
    }
    return json;
}

std::vector<CardKey> KeysFromJson(const Json& json, const std::filesystem::path& folder)
{
    std::vector<CardKey> keys;
    for (const Json& entry : json) {
        CardKey key;
        entry.at("reference").get_to(key.reference);
        entry.at("certificate").get_to(key.certificateFile);
        entry.at("key").get_to(key.keyFile);
        const std::string certificate = ReadFile(folder / key.certificateFile);
        key.certificate.assign(certificate.begin(), certificate.end());
        keys.push_back(std::move(key));
    }
    return keys;
}

} // namespace

bool HasCardDescription(const std::filesystem::path& folder)
{
    std::error_code ignored; // one card that cannot be looked at must not hide the others
    return std::filesystem::exists(folder / descriptionFile, ignored);
}

bool CardStore::Contains(const std::string& name) const
{
    return HasCardDescription(FolderOf(name)) && HasThisName(FolderOf(name));
}

std::vector<std::string> CardStore::Names() const
{
    std::vector<std::string> names;
    if (!std::filesystem::is_directory(folder_)) {
        return names;
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
        std::string name = Utf8Of(entry.path().filename());
        if (!name.starts_with('.') && Contains(name)) {
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
    const Json json = Json::parse(ReadFile(card.folder / descriptionFile));
    json.at("serialNumber").get_to(card.serialNumber);
    json.at("subject").get_to(card.subject);
    json.at("manufacturer").get_to(card.manufacturer);
    json.at("model").get_to(card.model);
    json.at("versions").get_to(card.versions);
    card.qualifiedKeys = KeysFromJson(json.at("qes"), card.folder);
    card.ordinaryKeys = KeysFromJson(json.at("es"), card.folder);
    return card;
}

void RequireCardName(std::string_view name)
{
    const bool valid = !name.empty() && name.size() <= longestName && name.front() != '.' &&
                       std::all_of(name.begin(), name.end(), IsNameCharacter) && CanBeAName(name);
    if (!valid) {
        throw StoreError(
            StoreFailure::badArgument,
            "A card's name is 1 to 64 letters, digits, '-', '_' and '.', and does not begin with '.'." +
                std::string(NameRule()));
    }
}

void WriteCardDescription(const Card& card)
{
    const Json json = {{"serialNumber", card.serialNumber}, {"subject", card.subject},
                       {"manufacturer", card.manufacturer}, {"model", card.model},
                       {"versions", card.versions},         {"qes", ToJson(card.qualifiedKeys)},
                       {"es", ToJson(card.ordinaryKeys)}};
    WriteFileAtomically(card.folder / descriptionFile, json.dump(4) + "\n");
}

PrivateKeys LoadPrivateKeys(const Card& card, KeyFamily family, const SecretBytes& secret)
{
    PrivateKeys keys;
    for (const CardKey& key : card.Keys(family)) {
        keys.push_back(ReadKeyFile(card.folder / key.keyFile, secret));
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

void DeleteCard(const CardStore& store, const std::string& name)
{
    if (!store.Contains(name)) {
        throw StoreError(StoreFailure::unknownCard, "There is no card named \"" + name + "\".");
    }
    const std::filesystem::path grave = store.FolderOf("." + name + std::string(deletedEnding));
    std::filesystem::remove_all(grave);
    MoveFolder(store.FolderOf(name), grave);
    std::filesystem::remove_all(grave);
}

FileLock LockCard(const std::filesystem::path& cardFolder)
{
    return FileLock(LockFileOf(cardFolder, "lock"));
}

} // namespace softcard
