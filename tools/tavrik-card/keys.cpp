// The subcommands that bring keys and certificates in and out.
#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/card/card_maker.h"
#include "softcard/card/code_change.h"
#include "softcard/card/file_trouble.h"
#include "tools/tavrik-card/commands.h"
#include "tools/tavrik-card/key_import.h"
#include "tools/tavrik-card/secret_input.h"
#include "tools/tavrik-card/support.h"

#include <botan/pem.h>

#include <fstream>
#include <iostream>
#include <memory>
#include <system_error>

namespace softcard {
namespace {

struct ImportArguments
{
    std::string card;
    KeyFamily family = KeyFamily::ordinary;
    std::string file;
    std::string keyFile;
    std::optional<SecretText> password;
    std::optional<SecretText> code;
    std::optional<SecretText> puk;
    std::optional<uint32_t> reference;
};

struct ExportArguments
{
    std::string card;
    KeyFamily family = KeyFamily::ordinary;
    uint32_t index = 1;
    bool der = false;
    std::string output;
};

// The PUK or the code that opens the family.
struct FamilyOpener
{
    bool isPuk;
    SecretText code;
};

FamilyOpener TakeOpener(const ImportArguments& arguments)
{
    if (arguments.puk) {
        return {true, *arguments.puk};
    }
    const char* prompt = arguments.family == KeyFamily::ordinary ? "Login code" : "Signature PIN";
    return {false, TakeOrRead(arguments.code, prompt)};
}

SecretBytes OpenFamily(const std::filesystem::path& folder, KeyFamily family, const FamilyOpener& opener)
{
    return (opener.isPuk ? OpenWithPuk : OpenWithCode)(folder, CodeOf(family), opener.code);
}

void RequireRoom(const Card& card, KeyFamily family)
{
    if (card.Keys(family).size() >= mostKeys) {
        throw StoreError(StoreFailure::notImportable, "The card has 8 certificates of this family already.");
    }
}

uint32_t ReferenceOf(const ImportArguments& arguments)
{
    return arguments.reference.value_or(arguments.family == KeyFamily::ordinary
                                            ? usualReferenceOfOrdinaryKeys
                                            : usualReferenceOfQualifiedKeys);
}

void RunImport(const ImportArguments& arguments)
{
    const uint32_t reference = ReferenceOf(arguments);
    RequireReference(reference);
    const std::filesystem::path folder = RequireCardFolder(arguments.card);
    const CardStore store(FindDirectories());
    const auto askPassword = [&] { return TakeOrRead(arguments.password, "Password of the file"); };
    const ImportedKey imported =
        ImportKey(PathOf(arguments.file),
                  PathOf(arguments.keyFile.empty() ? arguments.file : arguments.keyFile), askPassword);
    RequireRoom(store.Load(arguments.card), arguments.family);
    const FamilyOpener opener = TakeOpener(arguments);
    const FileLock entry = LockOutTransactions(arguments.card);
    const SecretBytes secret = OpenFamily(folder, arguments.family, opener);
    const FileLock lock = LockCard(folder);
    Card card = store.Load(arguments.card);
    RequireRoom(card, arguments.family);
    AddKey(card, arguments.family, {*imported.key, imported.certificate, reference}, secret);
    WriteCardDescription(card);
}

// A pipe or a device is written to, as by other programs; a file is replaced. What goes wrong is told of
// the path that was asked for, not of the file that is written on the way.
void WriteOutput(const std::filesystem::path& asked, const std::string& content)
{
    std::error_code error;
    try {
        const std::filesystem::path path = std::filesystem::absolute(asked);
        if (std::filesystem::is_directory(path, error)) {
            throw FileTrouble(asked, "cannot be written, because it is a folder", "Name a file in it.");
        }
        if (!std::filesystem::is_other(path, error)) {
            WriteFileAtomically(path, content);
            return;
        }
        std::ofstream stream(path, std::ios::binary);
        if (!(stream << content << std::flush)) {
            throw FileTrouble(asked, "cannot be written", "Name another file, or one that takes more.");
        }
    } catch (const std::system_error& failure) {
        const std::filesystem::path folder = std::filesystem::absolute(asked).parent_path();
        throw FileTrouble(asked, "cannot be written", DescribeSystemTrouble(folder, failure.code()));
    }
}

void RunExport(const ExportArguments& arguments)
{
    (void)RequireCardFolder(arguments.card);
    const Card card = CardStore(FindDirectories()).Load(arguments.card);
    const auto& keys = card.Keys(arguments.family);
    if (arguments.index < 1 || arguments.index > keys.size()) {
        throw StoreError(StoreFailure::badArgument, "The card has " + std::to_string(keys.size()) +
                                                        " certificates of this family, counted from 1.");
    }
    const std::vector<uint8_t>& der = keys[arguments.index - 1].certificate;
    const std::string content =
        arguments.der ? std::string(der.begin(), der.end()) : Botan::PEM_Code::encode(der, "CERTIFICATE");
    if (arguments.output.empty()) {
        std::cout << content << std::flush;
    } else {
        WriteOutput(PathOf(arguments.output), content);
    }
}

void AddFamily(CLI::App& command, KeyFamily& family)
{
    AddWord(command, "FAMILY", family, FamilyWords(), {"qes", "es"});
}

void AddImport(CLI::App& app, const SecretArguments& secrets)
{
    auto arguments = std::make_shared<ImportArguments>();
    CLI::App* importing = app.add_subcommand(
        "import", "Bring an RSA key and its certificate to a card, as the last ones of a family");
    AddCardName(*importing, arguments->card);
    AddFamily(*importing, arguments->family);
    importing->add_option("FILE", arguments->file, "PKCS#12, or PEM with the certificate")
        ->required()
        ->check(command_line::Offer("<file>"));
    importing->add_option("--key", arguments->keyFile, "PEM file with the key, when it is not in FILE")
        ->check(command_line::Offer("<file>"));
    secrets.AddOption(*importing, "--password", arguments->password,
                      "Of the file; without it, read from the standard input when one is needed");
    auto* code =
        secrets.AddOption(*importing, "--code", arguments->code,
                          "The card's code for the family; without it, read from the standard input");
    secrets.AddOption(*importing, "--puk", arguments->puk, "The card's PUK, in place of the code")
        ->excludes(code);
    AddNumber(*importing, "--reference", arguments->reference, keyReferences,
              "Key reference, 1 to 4; without it, that of the family's keys of a new card");
    importing->callback([arguments] { RunImport(*arguments); });
}

void AddExport(CLI::App& app)
{
    auto arguments = std::make_shared<ExportArguments>();
    CLI::App* output = app.add_subcommand("export-certificate", "Write a certificate of a card");
    AddCardName(*output, arguments->card);
    AddFamily(*output, arguments->family);
    AddNumber(*output, "--index", arguments->index, {1, mostKeys}, "Which one, counted from 1");
    output->add_flag("--der", arguments->der, "DER in place of PEM");
    output->add_option("--out", arguments->output, "A file in place of the standard output")
        ->check(command_line::Offer("<file>"));
    output->callback([arguments] { RunExport(*arguments); });
}

} // namespace

void AddKeyCommands(CLI::App& app, const SecretArguments& secrets)
{
    AddImport(app, secrets);
    AddExport(app);
}

} // namespace softcard
