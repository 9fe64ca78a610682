// A card one of whose files has any content. The first byte names the file, as in FileNamed, and the rest is its content.
// The card is in a reader, and another one in good health is in the next. What is done with both is what programs do with
// the card-access library, and what the tool lists.
//
// The cards are those of the folder "card" beside this file: keys of 1024 bits, and codes whose derivation costs nothing.
#include "softcard/base/store_error.h"
#include "softcard/card/code_check.h"
#include "softcard/card/code_record.h"
#include "softcard/card/directories.h"
#include "softcard/card/fault.h"
#include "softcard/card/reader_directory.h"
#include "src/card/card_api.h"
#include "src/card/card_status.h"
#include "tests/fuzz/rules.h"
#include "tools/tavrik-card/commands.h"

#include <CLI/CLI.hpp>

#include <botan/aes.h>
#include <botan/nist_keywrap.h>
#include <botan/pem.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// The delays of faults pass at once, and nothing is flushed to a disk.
extern "C" int nanosleep(const timespec* /*time*/, timespec* /*left*/)
{
    return 0;
}
extern "C" int fsync(int /*file*/)
{
    return 0;
}

namespace {

namespace fs = std::filesystem;
using fuzz::Require;
using nlohmann::json;

constexpr const char* bok = "123456";
constexpr const char* pin = "654321";
constexpr const char* fuzzed = "fuzzed";
constexpr const char* healthy = "healthy";
constexpr uint32_t mostCost = 256; // of a derivation that is done for an input

std::string ReadWhole(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteWhole(const fs::path& path, std::string_view content)
{
    std::ofstream(path, std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));
}

// Empty for a letter that stands for no file.
std::string FileNamed(char letter)
{
    switch (letter) {
    case 'c':
        return "card.json";
    case 's':
        return "state.json";
    case 'f':
        return "faults.json";
    case 'm':
        return "channel";
    case 'd':
        return "es-1.der";
    case 'q':
        return "qes-1.der";
    case 'k':
    case 'p': // what is wrapped in it: the content as a card would wrap it
        return "es-1.key";
    case 'K':
        return "qes-1.key";
    default:
        return {};
    }
}

// The store with its two cards, and what the files of a card hold.
class Store
{
public:
    Store()
    {
        setenv("TAVRIK_HOME", home.Path().c_str(), 1);
        const softcard::Directories directories = softcard::FindDirectories();
        cards = directories.Cards();
        for (const char* name : {fuzzed, healthy}) {
            fs::create_directories(cards / name);
            fs::create_directories(directories.Readers());
            fs::copy(FUZZED_CARD, cards / name,
                     fs::copy_options::recursive | fs::copy_options::overwrite_existing);
        }
        for (const auto& entry : fs::directory_iterator(FUZZED_CARD)) {
            files.emplace_back(entry.path().filename(), ReadWhole(entry.path()));
        }
        CardAPI_Initialize(nullptr);
        softcard::ReaderDirectory(directories).Insert(healthy, "Reader 1");
        secret = softcard::CheckCode(Card(), softcard::CodeKind::bok, softcard::MakeSecretText(bok)).secret;
        Require(!secret.empty(), "The card takes its login code.");
    }

    [[nodiscard]] fs::path Card() const { return cards / fuzzed; }

    // The card as it was, but for one file, in its reader.
    void Set(const std::string& name, std::string_view content) const
    {
        for (const char* other : {"faults.json", "channel"}) {
            fs::remove(Card() / other);
        }
        for (const auto& [file, usual] : files) {
            WriteWhole(Card() / file, file == name ? content : usual);
        }
        WriteWhole(Card() / name, content);
        const auto directories = softcard::FindDirectories();
        if (!fs::exists(fs::symlink_status(directories.Readers() / "Reader 0" / "card"))) {
            softcard::ReaderDirectory(directories).Insert(fuzzed, "Reader 0");
        }
    }

    // As the content of a key file.
    [[nodiscard]] std::string Wrapped(std::string_view plain) const
    {
        Botan::AES_256 cipher;
        cipher.set_key(secret);
        const auto wrapped =
            Botan::nist_key_wrap_padded(reinterpret_cast<const uint8_t*>(plain.data()), plain.size(), cipher);
        return Botan::PEM_Code::encode(wrapped, "WRAPPED PRIVATE KEY");
    }

private:
    fuzz::Folder home;
    fs::path cards;
    std::vector<std::pair<std::string, std::string>> files;
    softcard::SecretBytes secret;
};

const Store& TheStore()
{
    static const auto* const store = new Store();
    return *store;
}

// Not derived for an input: what would take long.
bool CodesAreCheap(const fs::path& card)
{
    try {
        const softcard::CodeRecords records = softcard::ReadCodeRecords(card);
        return std::max({records.bok.cost, records.pin.cost, records.puk.cost}) <= mostCost;
    } catch (const std::exception&) {
        return true; // no code is tried
    }
}

template <typename Value, size_t count>
struct Guarded
{
    std::array<uint8_t, 16> before{};
    std::array<Value, count> values{};
    std::array<uint8_t, 16> after{};

    void RequireIntact() const
    {
        Require(before == std::array<uint8_t, 16>{} && after == std::array<uint8_t, 16>{},
                "Nothing is written beside a buffer.");
    }
};

using Certificates = CardStatus (*)(CardSession, CardCertificate*, uint32_t*, CardKeyInfo*);
using KeyUse = CardStatus (*)(CardSession, const uint8_t*, uint32_t, uint8_t*, uint32_t*, uint32_t);

// True when they were read.
bool ReadCertificates(Certificates function, CardSession session)
{
    static Guarded<CardCertificate, maxCertificates> certificates;
    static Guarded<CardKeyInfo, maxCertificates> keys;
    uint32_t count = 0;
    const CardStatus status = function(session, certificates.values.data(), &count, keys.values.data());
    certificates.RequireIntact();
    keys.RequireIntact();
    Require(count <= maxCertificates && (status == eStatusOk || count == 0),
            "As many certificates as there is room for.");
    for (uint32_t index = 0; index < count; ++index) {
        const CardKeyInfo& key = keys.values.at(index);
        Require(certificates.values.at(index).length <= sizeof(CardCertificate::data) &&
                    key.modulusLength <= sizeof key.modulus &&
                    key.publicExponentLength <= sizeof key.publicExponent && key.keyReference >= 1 &&
                    key.keyReference <= 4,
                "Lengths and references are in their ranges.");
    }
    return status == eStatusOk;
}

void UseKey(KeyUse function, CardSession session, uint32_t size)
{
    static const std::vector<uint8_t> input(256, 0x01);
    Guarded<uint8_t, 256> output;
    uint32_t length = output.values.size();
    static_cast<void>(function(session, input.data(), size, output.values.data(), &length, 0));
    output.RequireIntact();
    Require(length <= output.values.size(), "No result is longer than its room.");
}

void Verify(CardSession session)
{
    VerifyResult result{};
    const CardStatus status = CardAPI_Passwords_VerifyBOK(session, bok, &result, nullptr, 0, 0, 0);
    Require(status == eStatusOk || result.verified <= 1, "A verification says yes or no.");
    UseKey(CardAPI_ES_SignData, session, 51);
    UseKey(CardAPI_ES_DecryptData, session, 128);
    static_cast<void>(CardAPI_QES_VerifyPin(session, pin, &result, nullptr, 0, 0, 0));
    UseKey(CardAPI_QES_SignData, session, 32);
}

// What a program does with a card. True when the card could be opened and told of.
bool UseCard()
{
    CardSession session = 0;
    if (CardAPI_OpenSession(u"Reader 0", &session) != eStatusOk) {
        return false;
    }
    Guarded<char, 64> serial;
    uint32_t length = serial.values.size() - 1; // and its end
    CardTokenInfo info{};
    const bool told = CardAPI_GetTokenInfo(session, &info, serial.values.data(), &length) == eStatusOk;
    serial.RequireIntact();
    uint32_t flags = 0;
    static_cast<void>(CardAPI_GetSessionFlags(session, &flags));
    CardKeyInfo key{};
    static_cast<void>(CardAPI_QES_GetKeyInfo(session, 0, &key, true));
    const bool ordinary = ReadCertificates(CardAPI_ES_GetCertificates, session);
    const bool qualified = ReadCertificates(CardAPI_QES_GetCertificates, session);
    static_cast<void>(CardAPI_StartTransaction(session));
    if (CodesAreCheap(TheStore().Card())) {
        Verify(session);
    }
    static_cast<void>(CardAPI_StopTransaction(session));
    static_cast<void>(CardAPI_CloseSession(session));
    while (CardAPI_CloseSession(session) == eStatusOk) { // where an order kept it open
    }
    return told && ordinary && qualified;
}

void RequireOtherCardWorks()
{
    CardSession session = 0;
    Require(CardAPI_OpenSession(u"Reader 1", &session) == eStatusOk &&
                CardAPI_CloseSession(session) == eStatusOk,
            "The other card can be used.");
    Guarded<char16_t, 64> readers;
    const int32_t used = CardAPI_GetReaderList(readers.values.data(), readers.values.size());
    readers.RequireIntact();
    Require(used < 0 || used == 18, "Both readers are listed.");
}

// Never destroyed. Flags keep their values from one parsing to the next, so each command has its own.
CLI::App* MakeApp()
{
    auto* const app = new CLI::App();
    softcard::AddListCommands(*app);
    return app;
}

// What the tool prints for these arguments. Throws what it throws, but for what it says of a broken card.
std::string Print(CLI::App* app, std::vector<std::string> arguments)
{
    const std::ostringstream printed;
    std::streambuf* const usual = std::cout.rdbuf(printed.rdbuf());
    try {
        std::reverse(arguments.begin(), arguments.end());
        app->parse(std::move(arguments));
    } catch (const softcard::StoreTrouble& trouble) {
        Require(std::string_view(trouble.what()).find(" is broken: ") != std::string_view::npos,
                "What is wrong with a card is said of it.");
    }
    std::cout.rdbuf(usual);
    return printed.str();
}

// True when the tool takes the fuzzed card for one in good health.
bool ListCards()
{
    static CLI::App* const listing = MakeApp();
    static CLI::App* const showing = MakeApp();
    const json list = json::parse(Print(listing, {"list", "--json"}));
    Require(list.size() == 2 && list[0]["name"] == fuzzed && list[1]["name"] == healthy,
            "Both cards are listed.");
    Require(!list[1].contains("broken"), "The other card is no broken one.");
    const std::string text = Print(showing, {"show", fuzzed});
    Require(std::none_of(text.begin(), text.end(),
                         [](char c) { return (c >= 0 && c < ' ' && c != '\n') || c == 0x7f; }),
            "The tool prints no control characters.");
    Require((text.find("\nBroken ") != std::string::npos) == list[0].contains("broken"),
            "The tool says the same of a card.");
    return !list[0].contains("broken");
}

} // namespace

int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    static_cast<void>(TheStore());
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0 || FileNamed(static_cast<char>(data[0])).empty()) {
        return -1;
    }
    const char letter = static_cast<char>(data[0]);
    const std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (letter == 'p' && rest.empty()) {
        return -1;
    }
    const Store& store = TheStore();
    store.Set(FileNamed(letter), letter == 'p' ? store.Wrapped(rest) : std::string(rest));
    const bool isHealthy = ListCards();
    const bool isUsable = UseCard();
    Require(!isHealthy || isUsable || letter == 'f', "A card in good health can be used.");
    RequireOtherCardWorks();
    return 0;
}
