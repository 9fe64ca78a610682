// The subcommands that tell about the cards.
#include "fault.h"
#include "reader_directory.h"
#include "text.h"
#include "tool_commands.h"
#include "tool_support.h"

#include <botan/pk_keys.h>
#include <botan/x509_dn.h>
#include <botan/x509cert.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>
#include <memory>

namespace softcard {
namespace {

using Json = nlohmann::ordered_json;

constexpr int indentation = 4;
constexpr size_t dateLength = 10;

// A name in an imported certificate can be anything: what is not UTF-8 in it is replaced.
std::string ToText(const Json& json)
{
    return json.dump(indentation, ' ', false, Json::error_handler_t::replace);
}

std::string DescribeTries(const CodeRecord& record)
{
    return record.initialized ? std::to_string(record.triesLeft) : "-";
}

std::string DescribeState(const CodeRecord& record)
{
    if (!record.initialized) {
        return "not initialised";
    }
    return record.triesLeft == 0 ? "locked" : "usable";
}

std::string DescribeCode(const CodeRecord& record)
{
    std::string text = DescribeState(record);
    if (record.initialized) {
        text += ", " + std::to_string(record.triesLeft) + " of " + std::to_string(record.maximumTries) +
                " tries left";
    }
    return text;
}

std::string Version(uint8_t major, uint8_t minor)
{
    return std::to_string(major) + "." + std::to_string(minor);
}

Json CodeToJson(const CodeRecord& record)
{
    return {{"state", DescribeState(record)},
            {"triesLeft", record.initialized ? Json(record.triesLeft) : Json()},
            {"maximumTries", record.maximumTries}};
}

Json SummaryToJson(const Card& card, const CodeRecords& codes, const std::string& reader)
{
    return {{"name", card.name},
            {"reader", reader.empty() ? Json() : Json(reader)},
            {"bok", CodeToJson(codes.bok)},
            {"pin", CodeToJson(codes.pin)},
            {"puk", CodeToJson(codes.puk)},
            {"subject", card.subject}};
}

struct KeyFacts
{
    uint32_t reference;
    size_t bits;
    std::string subject;
    std::string validTo; // YYYY-MM-DD
    std::string certificateFile;
};

KeyFacts FactsOf(const Card& card, const CardKey& key)
{
    const Botan::X509_Certificate certificate(key.certificate.data(), key.certificate.size());
    std::string end = certificate.not_after().readable_string().substr(0, dateLength);
    std::replace(end.begin(), end.end(), '/', '-');
    return {key.reference, certificate.load_subject_public_key()->key_length(),
            certificate.subject_dn().get_first_attribute("X520.CommonName"), end,
            Utf8Of(card.folder / PathOf(key.certificateFile))};
}

Json KeysToJson(const Card& card, KeyFamily family)
{
    Json json = Json::array();
    for (const CardKey& key : card.Keys(family)) {
        const KeyFacts facts = FactsOf(card, key);
        json.push_back({{"reference", facts.reference},
                        {"bits", facts.bits},
                        {"subject", facts.subject},
                        {"validTo", facts.validTo},
                        {"certificate", facts.certificateFile}});
    }
    return json;
}

void PrintJson(const Card& card, const CodeRecords& codes, const std::string& reader)
{
    Json json = SummaryToJson(card, codes, reader);
    json["serialNumber"] = card.serialNumber;
    json["manufacturer"] = card.manufacturer;
    json["model"] = card.model;
    json["hardwareVersion"] = Version(card.versions[0], card.versions[1]);
    json["firmwareVersion"] = Version(card.versions[2], card.versions[3]);
    json["qes"] = KeysToJson(card, KeyFamily::qualified);
    json["es"] = KeysToJson(card, KeyFamily::ordinary);
    json["faults"] = FaultsToJson(card.folder);
    std::cout << ToText(json) << '\n';
}

void PrintKeys(const Card& card, KeyFamily family, const std::string& title)
{
    size_t number = 0;
    for (const CardKey& key : card.Keys(family)) {
        const KeyFacts facts = FactsOf(card, key);
        std::cout << title << ' ' << ++number << "        RSA " << facts.bits << ", reference "
                  << facts.reference << ", " << facts.subject << ", valid to " << facts.validTo << '\n';
    }
}

void PrintText(const Card& card, const CodeRecords& codes, const std::string& reader)
{
    std::cout << "Card         " << card.name << '\n'
              << "Subject      " << card.subject << '\n'
              << "Reader       " << (reader.empty() ? "none" : reader) << '\n'
              << "Serial       " << card.serialNumber << '\n'
              << "Made by      " << card.manufacturer << ", " << card.model << ", hardware "
              << Version(card.versions[0], card.versions[1]) << ", firmware "
              << Version(card.versions[2], card.versions[3]) << '\n'
              << "Login code   " << DescribeCode(codes.bok) << '\n'
              << "PIN          " << DescribeCode(codes.pin) << '\n'
              << "PUK          " << DescribeCode(codes.puk) << '\n';
    PrintKeys(card, KeyFamily::qualified, "qes");
    PrintKeys(card, KeyFamily::ordinary, "es ");
    for (const Fault& fault : ReadFaults(card.folder)) {
        std::cout << "Fault        " << fault.operation << ", " << fault.count
                  << (fault.count == 1 ? " call\n" : " calls\n");
    }
}

std::string ReaderOf(const std::map<std::string, std::string>& readers, const std::string& card)
{
    const auto reader = readers.find(card);
    return reader == readers.end() ? std::string() : reader->second;
}

void RunList(bool asJson)
{
    const Directories directories = FindDirectories();
    const auto readers = ReadersOfCards(directories);
    const CardStore store(directories);
    Json json = Json::array();
    for (const std::string& name : store.Names()) {
        const Card card = store.Load(name);
        const CodeRecords codes = ReadCodeRecords(card.folder);
        const std::string reader = ReaderOf(readers, name);
        if (asJson) {
            json.push_back(SummaryToJson(card, codes, reader));
        } else {
            std::cout << name << '\t' << (reader.empty() ? "-" : reader) << '\t' << DescribeTries(codes.bok)
                      << '\t' << DescribeTries(codes.pin) << '\t' << card.subject << '\n';
        }
    }
    if (asJson) {
        std::cout << ToText(json) << '\n';
    }
}

void RunShow(const std::string& name, bool asJson)
{
    const Directories directories = FindDirectories();
    RequireCard(directories, name);
    const Card card = CardStore(directories).Load(name);
    const CodeRecords codes = ReadCodeRecords(card.folder);
    (asJson ? PrintJson : PrintText)(card, codes, ReaderOf(ReadersOfCards(directories), name));
}

struct ListArguments
{
    std::string card;
    bool asJson = false;
};

} // namespace

void AddListCommands(CLI::App& app)
{
    auto arguments = std::make_shared<ListArguments>();
    CLI::App* list =
        app.add_subcommand("list", "List the cards: name, reader, tries left of login code and PIN, subject");
    list->add_flag("--json", arguments->asJson, "As JSON");
    list->callback([arguments] { RunList(arguments->asJson); });

    CLI::App* show = app.add_subcommand("show", "Tell everything about a card that is no secret");
    AddCardName(*show, arguments->card);
    show->add_flag("--json", arguments->asJson, "As JSON");
    show->callback([arguments] { RunShow(arguments->card, arguments->asJson); });
}

} // namespace softcard
