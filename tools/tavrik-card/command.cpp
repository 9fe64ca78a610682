#include "tools/tavrik-card/command.h"

#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/card/file_trouble.h"
#include "tools/command_line/description.h"
#include "tools/tavrik-card/commands.h"
#include "tools/tavrik-card/messages.h"
#include "tools/tavrik-card/support.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace softcard {
namespace {

constexpr int exitStoreTrouble = 1;
constexpr int exitBadArguments = 2;

// Names of files and words of the command line are in it, which can hold anything.
int Fail(int exitCode, const std::string& sentence)
{
    std::cerr << "tavrik-card: " << Printable(sentence) << '\n';
    return exitCode;
}

int ExitCode(StoreFailure failure)
{
    switch (failure) {
    case StoreFailure::badArgument:
        return exitBadArguments;
    case StoreFailure::unknownCard:
        return 3;
    case StoreFailure::nameTaken:
        return 4;
    case StoreFailure::alreadyInserted:
        return 5;
    case StoreFailure::readerOccupied:
        return 6;
    case StoreFailure::notInserted:
        return 7;
    case StoreFailure::wrongCode:
        return 8;
    case StoreFailure::codeUnusable:
        return 9;
    case StoreFailure::notImportable:
        return 10;
    case StoreFailure::unknownReader:
        return 11;
    case StoreFailure::cardBusy:
        return 12;
    }
    return exitStoreTrouble;
}

int Run(std::vector<std::string> arguments)
{
    const SecretArguments secrets(arguments);
    CLI::App app("Software cards", "tavrik-card");
    app.set_version_flag("--version", "tavrik-card " TAVRIK_VERSION);
    AddCardCommands(app, secrets);
    AddListCommands(app);
    AddCodeCommands(app, secrets);
    AddKeyCommands(app, secrets);
    AddFaultCommand(app);
    app.require_subcommand(1);
    if (command_line::DescribeOnRequest(app, arguments)) {
        return 0;
    }
    RequireKnownCommand(app, arguments);
    try {
        std::reverse(arguments.begin(), arguments.end()); // as the parser wants them
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);
        }
        throw StoreError(StoreFailure::badArgument, DescribeParseError(app, error));
    }
    return 0;
}

} // namespace

int RunCommand(const std::function<std::vector<std::string>()>& takeArguments)
{
    try {
        const int exitCode = Run(takeArguments());
        if (!std::cout.flush()) {
            throw OutputLost();
        }
        return exitCode;
    } catch (const StoreError& error) {
        return Fail(ExitCode(error.Failure()), error.what());
    } catch (const StoreTrouble& error) {
        Fail(exitStoreTrouble, error.what());
        for (const std::string& sentence : error.Others()) {
            Fail(exitStoreTrouble, sentence);
        }
        return exitStoreTrouble;
    } catch (const std::system_error& error) {
        return Fail(exitStoreTrouble, DescribeSystemTrouble(error));
    } catch (const std::bad_alloc&) {
        return Fail(exitStoreTrouble, "There is not enough memory. End some programs.");
    } catch (const std::exception&) {
        return Fail(exitStoreTrouble,
                    "Something that should not happen went wrong with the store of the cards. "
                    "\"tavrik-card list\" tells which card is broken.");
    }
}

} // namespace softcard
