// The subcommands that make cards, take them away, and move them.
#include "softcard/base/store_error.h"
#include "softcard/card/card_maker.h"
#include "softcard/card/reader_directory.h"
#include "tools/tavrik-card/commands.h"
#include "tools/tavrik-card/progress.h"
#include "tools/tavrik-card/support.h"
#include "tools/tavrik-card/system/terminal.h"

#include <botan/auto_rng.h>

#include <charconv>
#include <memory>
#include <stdexcept>

namespace softcard {
namespace {

constexpr size_t pukLength = 8;
constexpr const char* defaultReader = "Reader 0";
constexpr NumberRange keyBits{2048, 4096};

struct NewArguments
{
    NewCard card;
    std::optional<SecretText> bok = MakeSecretText("123456");
    std::optional<SecretText> pin = MakeSecretText("654321");
    std::optional<SecretText> puk;
    bool withoutBok = false;
    bool withoutPin = false;
    uint32_t bits = 2048;
    std::optional<uint32_t> qualifiedBits;
    std::optional<uint32_t> ordinaryBits;
    std::string hardwareVersion = "1.0";
    std::string firmwareVersion = "1.0";
};

struct MoveArguments
{
    std::string card;
    std::string reader = defaultReader;
    bool force = false;
};

SecretText MakePuk()
{
    Botan::AutoSeeded_RNG random;
    SecretText puk;
    while (puk.size() < pukLength) {
        const uint8_t byte = random.next_byte();
        if (byte < 250) { // so that each digit is as likely as the others
            puk.push_back(static_cast<char>('0' + byte % 10));
        }
    }
    return puk;
}

void PrintPuk(const SecretText& puk)
{
    SecretText line = MakeSecretText("PUK: ");
    line.insert(line.end(), puk.begin(), puk.end());
    if (!WriteSecretOutput(line)) {
        throw OutputLost();
    }
}

// MAJOR.MINOR, each 0 to 255.
void ParseVersion(const std::string& text, uint8_t* version)
{
    const char* const end = text.data() + text.size();
    const auto major = std::from_chars(text.data(), end, version[0]);
    const bool dotted = major.ec == std::errc() && major.ptr != end && *major.ptr == '.';
    if (dotted) {
        const auto minor = std::from_chars(major.ptr + 1, end, version[1]);
        if (minor.ec == std::errc() && minor.ptr == end) {
            return;
        }
    }
    throw StoreError(StoreFailure::badArgument, "A version is MAJOR.MINOR, each 0 to 255.");
}

void RunNew(NewArguments& arguments)
{
    NewCard& card = arguments.card;
    card.bok = arguments.withoutBok ? std::nullopt : arguments.bok;
    card.pin = arguments.withoutPin ? std::nullopt : arguments.pin;
    const bool pukGiven = arguments.puk.has_value();
    card.puk = pukGiven ? *arguments.puk : MakePuk();
    card.qualified.bits = arguments.qualifiedBits.value_or(arguments.bits);
    card.ordinary.bits = arguments.ordinaryBits.value_or(arguments.bits);
    ParseVersion(arguments.hardwareVersion, card.versions.data());
    ParseVersion(arguments.firmwareVersion, card.versions.data() + 2);
    {
        Progress progress;
        card.onStep = [&progress](const std::string& step) { progress.Tell(step); };
        if (!pukGiven) {
            card.beforeUse = [&card] { PrintPuk(card.puk); };
        }
        MakeCard(FindDirectories(), card);
    }
}

void RunDelete(const MoveArguments& arguments)
{
    const Directories directories = FindDirectories();
    RequireCard(directories, arguments.card);
    const auto exclusiveUse = LockCardExclusively(arguments.card);
    ReaderDirectory(directories).Destroy(arguments.card, arguments.force, [&] {
        DeleteCard(CardStore(directories), arguments.card);
    });
}

void AddFamilyOptions(CLI::App& command, const std::string& prefix, const std::string& family,
                      FamilyOrder& order, std::optional<uint32_t>& bits)
{
    AddNumber(command, "--" + prefix + "-certificates", order.certificates, {0, mostKeys},
              "How many " + family + " certificates, each with a key of its own, 0 to 8");
    AddNumber(command, "--" + prefix + "-bits", bits, keyBits, "Size of the " + family + " keys");
    AddNumber(command, "--" + prefix + "-reference", order.reference, keyReferences,
              "Key reference of the " + family + " keys, 1 to 4, " + std::to_string(order.reference) +
                  " by default");
}

void AddNew(CLI::App& app, const SecretArguments& secrets)
{
    auto shared = std::make_shared<NewArguments>();
    NewArguments& arguments = *shared;
    NewCard& card = arguments.card;
    CLI::App* make = app.add_subcommand("new", "Make a card; it is in no reader yet");
    make->add_option("NAME", card.name, "Letters, digits, '-', '_' and '.'")->required();
    auto* bok =
        secrets.AddOption(*make, "--bok", arguments.bok, "Login code, 1 to 64 bytes, 123456 by default");
    auto* pin =
        secrets.AddOption(*make, "--pin", arguments.pin, "Signature PIN, 1 to 64 bytes, 654321 by default");
    secrets.AddOption(*make, "--puk", arguments.puk,
                      "Unblocking code, 1 to 64 bytes; without it, one is made and printed");
    make->add_flag("--no-bok", arguments.withoutBok, "Leave the login code uninitialised")->excludes(bok);
    make->add_flag("--no-pin", arguments.withoutPin, "Leave the signature PIN uninitialised")->excludes(pin);
    AddNumber(*make, "--bits", arguments.bits, keyBits, "Size of the RSA keys, 2048 to 4096");
    AddFamilyOptions(*make, "qes", "qualified", card.qualified, arguments.qualifiedBits);
    AddFamilyOptions(*make, "es", "ordinary", card.ordinary, arguments.ordinaryBits);
    make->add_option("--subject", card.subject,
                     "Common name in the certificates, the card's name by default");
    make->add_option("--manufacturer", card.manufacturer, "1 to 32 bytes");
    make->add_option("--model", card.model, "1 to 16 bytes");
    make->add_option("--hardware-version", arguments.hardwareVersion, "MAJOR.MINOR");
    make->add_option("--firmware-version", arguments.firmwareVersion, "MAJOR.MINOR");
    make->callback([shared] { RunNew(*shared); });
}

void AddDelete(CLI::App& app)
{
    auto arguments = std::make_shared<MoveArguments>();
    CLI::App* erase = app.add_subcommand("delete", "Destroy a card with its keys");
    AddCardName(*erase, arguments->card);
    erase->add_flag("--force", arguments->force, "Take it out of its reader first");
    erase->callback([arguments] { RunDelete(*arguments); });
}

void AddInsert(CLI::App& app)
{
    auto arguments = std::make_shared<MoveArguments>();
    CLI::App* insert = app.add_subcommand("insert", "Put a card into a reader");
    AddCardName(*insert, arguments->card);
    insert->add_option("READER", arguments->reader, "The reader, \"Reader 0\" by default");
    insert->callback([arguments] {
        const Directories directories = FindDirectories();
        RequireCard(directories, arguments->card);
        ReaderDirectory(directories).Insert(arguments->card, arguments->reader);
    });
}

void AddRemove(CLI::App& app)
{
    auto arguments = std::make_shared<MoveArguments>();
    CLI::App* remove = app.add_subcommand("remove", "Take a card out of its reader");
    AddCardName(*remove, arguments->card);
    remove->callback([arguments] {
        const Directories directories = FindDirectories();
        RequireCard(directories, arguments->card);
        ReaderDirectory(directories).Remove(arguments->card);
    });
}

void AddPlugging(CLI::App& app)
{
    auto arguments = std::make_shared<MoveArguments>();
    CLI::App* plug = app.add_subcommand("plug", "Connect a reader without a card");
    plug->add_option("READER", arguments->reader, "The reader")->required();
    plug->callback([arguments] { ReaderDirectory(FindDirectories()).Plug(arguments->reader); });
    CLI::App* unplug = app.add_subcommand("unplug", "Disconnect a reader, together with a card in it");
    unplug->add_option("READER", arguments->reader, "The reader")->required();
    unplug->callback([arguments] { ReaderDirectory(FindDirectories()).Unplug(arguments->reader); });
}

} // namespace

void AddCardCommands(CLI::App& app, const SecretArguments& secrets)
{
    AddNew(app, secrets);
    AddDelete(app);
    AddInsert(app);
    AddRemove(app);
    AddPlugging(app);
}

} // namespace softcard
