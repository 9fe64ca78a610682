#include "code_record.h"

#include "system/files.h"

#include <botan/hex.h>
#include <nlohmann/json.hpp>

#include <string>

namespace softcard {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* stateFile = "state.json";

Json ToJson(const CodeRecord& record)
{
    return {{"initialized", record.initialized},
            {"maximumTries", record.maximumTries},
            {"triesLeft", record.triesLeft},
            {"cost", record.cost},
            {"salt", Botan::hex_encode(record.salt, false)},
            {"verifier", Botan::hex_encode(record.verifier, false)},
            {"wrappedSecret", Botan::hex_encode(record.wrappedSecret, false)},
            {"recoverySecret", Botan::hex_encode(record.recoverySecret, false)}};
}

CodeRecord FromJson(const Json& json)
{
    CodeRecord record;
    json.at("initialized").get_to(record.initialized);
    json.at("maximumTries").get_to(record.maximumTries);
    json.at("triesLeft").get_to(record.triesLeft);
    json.at("cost").get_to(record.cost);
    record.salt = Botan::hex_decode(json.at("salt").get<std::string>());
    record.verifier = Botan::hex_decode(json.at("verifier").get<std::string>());
    record.wrappedSecret = Botan::hex_decode(json.at("wrappedSecret").get<std::string>());
    record.recoverySecret = Botan::hex_decode(json.at("recoverySecret").get<std::string>());
    return record;
}

} // namespace

CodeRecords ReadCodeRecords(const std::filesystem::path& cardFolder)
{
    const Json json = Json::parse(ReadFile(cardFolder / stateFile));
    return {FromJson(json.at("bok")), FromJson(json.at("pin")), FromJson(json.at("puk"))};
}

void WriteCodeRecords(const std::filesystem::path& cardFolder, const CodeRecords& records)
{
    const Json json = {
        {"bok", ToJson(records.bok)}, {"pin", ToJson(records.pin)}, {"puk", ToJson(records.puk)}};
    WriteFileAtomically(cardFolder / stateFile, json.dump(4) + "\n");
}

} // namespace softcard
