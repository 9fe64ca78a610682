// The subcommands that tell about the cards.
#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/card/card_certificate.h"
#include "softcard/card/card_channel.h"
#include "softcard/card/card_error.h"
#include "softcard/card/fault.h"
#include "softcard/card/file_trouble.h"
#include "softcard/card/reader_directory.h"
#include "tools/tavrik-card/commands.h"
#include "tools/tavrik-card/support.h"

#include <botan/exceptn.h>
#include <botan/pkix_types.h>
#include <botan/x509cert.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace softcard {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t dateLength = 10;

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

std::string ReaderOf(const std::map<std::string, std::string>& readers, const std::string& card)
{
    const auto reader = readers.find(card);
    return reader == readers.end() ? std::string() : reader->second;
}

struct KeyFacts
{
    uint32_t reference;
    size_t bits;
    std::string subject;
    std::string validTo; // YYYY-MM-DD
    std::string certificateFile;
};

KeyFacts ReadFacts(const Card& card, const CardKey& key)
{
    const Botan::X509_Certificate certificate(key.certificate.data(), key.certificate.size());
    std::string end = certificate.not_after().readable_string().substr(0, dateLength);
    std::replace(end.begin(), end.end(), '/', '-');
    return {key.reference, PublicNumbersOf(key).modulus.bits(),
            certificate.subject_dn().get_first_attribute("X520.CommonName"), end,
            Utf8Of(card.folder / PathOf(key.certificateFile))};
}

// Throws FileTrouble for a certificate that cannot be read, or that programs cannot be told of.
KeyFacts FactsOf(const Card& card, const CardKey& key)
{
    const std::filesystem::path file = card.folder / PathOf(key.certificateFile);
    try {
        RequireRoomFor(key);
        return ReadFacts(card, key);
    } catch (const Botan::Exception&) {
        throw FileTrouble(file, "holds no certificate that can be read", mendCard);
    } catch (const CardError&) {
        throw FileTrouble(file, "holds no certificate for an RSA key, or one that is too long", mendCard);
    }
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

// A card as it was found. One that cannot be read as a whole is broken, and the reason says where.
struct FoundCard
{
    std::string name;
    std::string reader; // empty when it is in none
    Card card;
    CodeRecords codes;
    std::string broken; // the reason, empty for a card in good health
};

// Reads every file that a program needs. Throws std::exception when one cannot be read.
void ReadAll(const CardStore& store, FoundCard& found)
{
    found.card = store.Load(found.name);
    found.codes = ReadCodeRecords(found.card.folder);
    (void)ReadFaults(found.card.folder);
    (void)ReadChannelMark(found.card.folder);
    for (const KeyFamily family : {KeyFamily::qualified, KeyFamily::ordinary}) {
        for (const CardKey& key : found.card.Keys(family)) {
            (void)FactsOf(found.card, key);
            (void)ReadFile(found.card.folder / PathOf(key.keyFile));
        }
    }
}

// Throws StoreError for a card that does not exist.
FoundCard Examine(const CardStore& store, const std::string& name,
                  const std::map<std::string, std::string>& readers)
{
    FoundCard found{name, ReaderOf(readers, name), {}, {}, {}};
    try {
        ReadAll(store, found);
    } catch (const StoreError&) {
        throw;
    } catch (const StoreTrouble& trouble) {
        found.broken = trouble.what();
    } catch (const std::system_error& error) {
        found.broken = DescribeSystemTrouble(error);
    }
    if (!found.broken.empty() && !store.Contains(name)) { // deleted while it was read
        throw StoreError(StoreFailure::unknownCard, "There is no card named \"" + name + "\".");
    }
    return found;
}

std::string Sentence(const FoundCard& found)
{
    return "The card \"" + found.name + "\" is broken: " + found.broken + " \"tavrik-card delete " +
           found.name + "\" takes it away.";
}

Json BrokenToJson(const FoundCard& found)
{
    return {{"name", found.name},
            {"reader", found.reader.empty() ? Json() : Json(found.reader)},
            {"broken", found.broken}};
}

void PrintBroken(const FoundCard& found)
{
    std::cout << "Card         " << found.name << '\n'
              << "Reader       " << (found.reader.empty() ? "none" : Printable(found.reader)) << '\n'
              << "Broken       " << Printable(found.broken) << '\n';
}

void PrintLine(const FoundCard& found)
{
    std::cout << found.name << '\t' << (found.reader.empty() ? "-" : Printable(found.reader)) << '\t';
    if (found.broken.empty()) {
        std::cout << DescribeTries(found.codes.bok) << '\t' << DescribeTries(found.codes.pin) << '\t'
                  << Printable(found.card.subject) << '\n';
    } else {
        std::cout << "broken\tbroken\t-\n";
    }
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
    PrintJsonText(json);
}

void PrintKeys(const Card& card, KeyFamily family, const std::string& title)
{
    size_t number = 0;
    for (const CardKey& key : card.Keys(family)) {
        const KeyFacts facts = FactsOf(card, key);
        std::cout << title << ' ' << ++number << "        RSA " << facts.bits << ", reference "
                  << facts.reference << ", " << Printable(facts.subject) << ", valid to " << facts.validTo
                  << '\n';
    }
}

void PrintText(const Card& card, const CodeRecords& codes, const std::string& reader)
{
    std::cout << "Card         " << card.name << '\n'
              << "Subject      " << Printable(card.subject) << '\n'
              << "Reader       " << (reader.empty() ? "none" : Printable(reader)) << '\n'
              << "Serial       " << Printable(card.serialNumber) << '\n'
              << "Made by      " << Printable(card.manufacturer) << ", " << Printable(card.model)
              << ", hardware " << Version(card.versions[0], card.versions[1]) << ", firmware "
              << Version(card.versions[2], card.versions[3]) << '\n'
              << "Login code   " << DescribeCode(codes.bok) << '\n'
              << "PIN          " << DescribeCode(codes.pin) << '\n'
              << "PUK          " << DescribeCode(codes.puk) << '\n';
    PrintKeys(card, KeyFamily::qualified, "qes");
    PrintKeys(card, KeyFamily::ordinary, "es ");
    for (const Fault& fault : ReadFaults(card.folder)) {
        std::cout << "Fault        " << Printable(fault.operation) << ", " << fault.count
                  << (fault.count == 1 ? " call\n" : " calls\n");
    }
}

// One that is deleted meanwhile is left out.
std::vector<FoundCard> ExamineAll(const CardStore& store, const std::map<std::string, std::string>& readers)
{
    std::vector<FoundCard> all;
    for (const std::string& name : store.Names()) {
        try {
            all.push_back(Examine(store, name, readers));
        } catch (const StoreError& error) {
            if (error.Failure() != StoreFailure::unknownCard) {
                throw;
            }
        }
    }
    return all;
}

void RunList(bool asJson)
{
    const Directories directories = FindDirectories();
    const auto readers = ReadersOfCards(directories);
    const CardStore store(directories);
    Json json = Json::array();
    std::vector<std::string> failures;
    for (const FoundCard& found : ExamineAll(store, readers)) {
        if (!found.broken.empty()) {
            failures.push_back(Sentence(found));
        }
        if (!asJson) {
            PrintLine(found);
        } else if (found.broken.empty()) {
            json.push_back(SummaryToJson(found.card, found.codes, found.reader));
        } else {
            json.push_back(BrokenToJson(found));
        }
    }
    if (asJson) {
        PrintJsonText(json);
    }
    if (!failures.empty()) {
        std::cout << std::flush;
        throw StoreTrouble(failures);
    }
}

void RunShow(const std::string& name, bool asJson)
{
    const Directories directories = FindDirectories();
    RequireCard(directories, name);
    const FoundCard found = Examine(CardStore(directories), name, ReadersOfCards(directories));
    if (found.broken.empty()) {
        (asJson ? PrintJson : PrintText)(found.card, found.codes, found.reader);
        return;
    }
    if (asJson) {
        PrintJsonText(BrokenToJson(found));
    } else {
        PrintBroken(found);
    }
    std::cout << std::flush;
    throw StoreTrouble(Sentence(found));
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
