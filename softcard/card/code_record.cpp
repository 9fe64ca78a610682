#include "softcard/card/code_record.h"

#include "softcard/card/json_file.h"
#include "softcard/system/files.h"

#include <botan/hex.h>
#include <nlohmann/json.hpp>

#include <bit>
#include <stdexcept>
#include <string>

namespace softcard {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* stateFile = "state.json";
constexpr uint32_t mostTries = 100;
constexpr uint32_t highestCost = 1U << 17; // 128 MiB of memory

Json CodeToJson(const CodeRecord& record)
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

// A code that can be tried takes a derivation, whose cost is a power of two.
void RequireDerivation(const CodeRecord& record)
{
    if (record.initialized && (!std::has_single_bit(record.cost) || record.cost < 2 || record.salt.empty() ||
                               record.verifier.empty())) {
        throw std::out_of_range("cost");
    }
}

CodeRecord CodeFromJson(const nlohmann::json& json)
{
    CodeRecord record;
    json.at("initialized").get_to(record.initialized);
    record.maximumTries = NumberIn(json, "maximumTries", 1, mostTries);
    record.triesLeft = NumberIn(json, "triesLeft", 0, record.maximumTries);
    record.cost = NumberIn(json, "cost", 0, highestCost);
    record.salt = Botan::hex_decode(json.at("salt").get<std::string>());
    record.verifier = Botan::hex_decode(json.at("verifier").get<std::string>());
    record.wrappedSecret = Botan::hex_decode(json.at("wrappedSecret").get<std::string>());
    record.recoverySecret = Botan::hex_decode(json.at("recoverySecret").get<std::string>());
    RequireDerivation(record);
    return record;
}

} // namespace

CodeRecords ReadCodeRecords(const std::filesystem::path& cardFolder)
{
    return ReadJsonFile(cardFolder / stateFile, mendCard, [](const nlohmann::json& json) {
        return CodeRecords{CodeFromJson(json.at("bok")), CodeFromJson(json.at("pin")),
                           CodeFromJson(json.at("puk"))};
    });
}

void WriteCodeRecords(const std::filesystem::path& cardFolder, const CodeRecords& records)
{
    const Json json = {
        {"bok", CodeToJson(records.bok)}, {"pin", CodeToJson(records.pin)}, {"puk", CodeToJson(records.puk)}};
    WriteFileAtomically(cardFolder / stateFile, json.dump(4) + "\n");
}

} // namespace softcard
