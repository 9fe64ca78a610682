// The subcommands for codes and for the channel that they open.
#include "softcard/base/store_error.h"
#include "softcard/card/card_channel.h"
#include "softcard/card/code_change.h"
#include "tools/tavrik-card/commands.h"
#include "tools/tavrik-card/secret_input.h"
#include "tools/tavrik-card/support.h"

#include <memory>

namespace softcard {
namespace {

struct CodeArguments
{
    std::string card;
    CodeKind kind = CodeKind::bok;
    std::optional<SecretText> old;
    std::optional<SecretText> puk;
    std::optional<SecretText> replacement;
};

void RunSetCode(const CodeArguments& arguments)
{
    const std::filesystem::path folder = RequireCardFolder(arguments.card);
    if (arguments.puk) {
        const SecretText replacement = TakeOrRead(arguments.replacement, "New code");
        const FileLock entry = LockOutTransactions(arguments.card);
        UnblockCode(folder, arguments.kind, *arguments.puk, replacement);
    } else {
        const SecretText old = TakeOrRead(arguments.old, "Old code");
        const SecretText replacement = TakeOrRead(arguments.replacement, "New code");
        const FileLock entry = LockOutTransactions(arguments.card);
        ChangeCode(folder, arguments.kind, old, replacement);
    }
}

void RunUnblock(const CodeArguments& arguments)
{
    const std::filesystem::path folder = RequireCardFolder(arguments.card);
    const SecretText puk = TakeOrRead(arguments.puk, "PUK");
    const FileLock entry = LockOutTransactions(arguments.card);
    UnblockCode(folder, arguments.kind, puk, arguments.replacement);
}

void AddCode(CLI::App& command, CodeKind& kind, const std::vector<std::string>& offered)
{
    AddWord(command, "CODE", kind, CodeWords(), offered);
}

// The PUK cannot do it to itself.
void RequireOrdinaryCode(CodeKind kind)
{
    if (kind == CodeKind::puk) {
        throw StoreError(StoreFailure::badArgument, "The PUK serves the other codes, not itself.");
    }
}

void AddSetCode(CLI::App& app, const SecretArguments& secrets)
{
    auto arguments = std::make_shared<CodeArguments>();
    CLI::App* set = app.add_subcommand(
        "set-code",
        "Change a code, or set one that is not initialised; what no option gives is read from the "
        "standard input");
    AddCardName(*set, arguments->card);
    AddCode(*set, arguments->kind, {"bok", "pin", "puk"});
    auto* old = secrets.AddOption(*set, "--old", arguments->old, "The code as it is");
    secrets.AddOption(*set, "--puk", arguments->puk, "The PUK, in place of the old code")->excludes(old);
    secrets.AddOption(*set, "--new", arguments->replacement, "The code as it shall be, 1 to 64 bytes");
    set->callback([arguments] {
        if (arguments->puk) {
            RequireOrdinaryCode(arguments->kind);
        }
        RunSetCode(*arguments);
    });
}

void AddUnblock(CLI::App& app, const SecretArguments& secrets)
{
    auto arguments = std::make_shared<CodeArguments>();
    CLI::App* unblock = app.add_subcommand(
        "unblock", "Give a code its tries back with the PUK, which is read from the standard input without "
                   "--puk");
    AddCardName(*unblock, arguments->card);
    AddCode(*unblock, arguments->kind, {"bok", "pin"});
    secrets.AddOption(*unblock, "--puk", arguments->puk, "The PUK");
    secrets.AddOption(*unblock, "--new", arguments->replacement, "A new code; without it the code stays");
    unblock->callback([arguments] {
        RequireOrdinaryCode(arguments->kind);
        RunUnblock(*arguments);
    });
}

void AddLock(CLI::App& app)
{
    auto arguments = std::make_shared<CodeArguments>();
    CLI::App* lock = app.add_subcommand("lock", "Lock a code as if it had been tried in vain too often");
    AddCardName(*lock, arguments->card);
    AddCode(*lock, arguments->kind, {"bok", "pin", "puk"});
    lock->callback([arguments] {
        const std::filesystem::path folder = RequireCardFolder(arguments->card);
        const FileLock entry = LockOutTransactions(arguments->card);
        LockCode(folder, arguments->kind);
    });
}

void AddBreakChannel(CLI::App& app)
{
    auto arguments = std::make_shared<CodeArguments>();
    CLI::App* breaking = app.add_subcommand(
        "break-channel", "End secure messaging with a card, and every authorisation, in all programs");
    AddCardName(*breaking, arguments->card);
    breaking->callback([arguments] { BreakChannel(RequireCardFolder(arguments->card)); });
}

} // namespace

void AddCodeCommands(CLI::App& app, const SecretArguments& secrets)
{
    AddSetCode(app, secrets);
    AddUnblock(app, secrets);
    AddLock(app);
    AddBreakChannel(app);
}

} // namespace softcard
