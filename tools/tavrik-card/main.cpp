// tavrik-card: makes software cards and handles them as a person handles real ones.
//
// Exit codes: 0 done, 1 the store or the output cannot be read or written, 2 bad arguments, 3 unknown card, 4
// name taken, 5 card in a reader, 6 reader occupied, 7 card not inserted, 8 wrong code, 9 code locked or not
// initialised, 10 nothing to import, 11 unknown reader, 12 the card is in use. Every failure is told in one
// sentence on the standard error.
#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "softcard/card/file_trouble.h"
#include "tools/command_line/description.h"
#include "tools/tavrik-card/commands.h"
#include "tools/tavrik-card/messages.h"
#include "tools/tavrik-card/support.h"
#include "tools/tavrik-card/system/program_start.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

constexpr int exitStoreTrouble = 1;
constexpr int exitBadArguments = 2;

// Names of files and words of the command line are in it, which can hold anything.
int Fail(int exitCode, const std::string& sentence)
{
    std::cerr << "tavrik-card: " << softcard::Printable(sentence) << '\n';
    return exitCode;
}

int ExitCode(softcard::StoreFailure failure)
{
    switch (failure) {
    case softcard::StoreFailure::badArgument:
        return exitBadArguments;
    case softcard::StoreFailure::unknownCard:
        return 3;
    case softcard::StoreFailure::nameTaken:
        return 4;
    case softcard::StoreFailure::alreadyInserted:
        return 5;
    case softcard::StoreFailure::readerOccupied:
        return 6;
    case softcard::StoreFailure::notInserted:
        return 7;
    case softcard::StoreFailure::wrongCode:
        return 8;
    case softcard::StoreFailure::codeUnusable:
        return 9;
    case softcard::StoreFailure::notImportable:
        return 10;
    case softcard::StoreFailure::unknownReader:
        return 11;
    case softcard::StoreFailure::cardBusy:
        return 12;
    }
    return exitStoreTrouble;
}

int Run(std::vector<std::string> arguments)
{
    const softcard::SecretArguments secrets(arguments);
    CLI::App app("Software cards", "tavrik-card");
    app.set_version_flag("--version", "tavrik-card " TAVRIK_VERSION);
    softcard::AddCardCommands(app, secrets);
    softcard::AddListCommands(app);
    softcard::AddCodeCommands(app, secrets);
    softcard::AddKeyCommands(app, secrets);
    softcard::AddFaultCommand(app);
    app.require_subcommand(1);
    if (command_line::DescribeOnRequest(app, arguments)) {
        return 0;
    }
    softcard::RequireKnownCommand(app, arguments);
    try {
        std::reverse(arguments.begin(), arguments.end()); // as the parser wants them
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);
        }
        throw softcard::StoreError(softcard::StoreFailure::badArgument,
                                   softcard::DescribeParseError(app, error));
    }
    return 0;
}

} // namespace

int main(int argumentCount, char** argumentValues)
{
    try {
        const int exitCode = Run(softcard::StartProgram(argumentCount, argumentValues));
        if (!std::cout.flush()) {
            throw softcard::OutputLost();
        }
        return exitCode;
    } catch (const softcard::StoreError& error) {
        return Fail(ExitCode(error.Failure()), error.what());
    } catch (const softcard::StoreTrouble& error) {
        Fail(exitStoreTrouble, error.what());
        for (const std::string& sentence : error.Others()) {
            Fail(exitStoreTrouble, sentence);
        }
        return exitStoreTrouble;
    } catch (const std::system_error& error) {
        return Fail(exitStoreTrouble, softcard::DescribeSystemTrouble(error));
    } catch (const std::bad_alloc&) {
        return Fail(exitStoreTrouble, "There is not enough memory. End some programs.");
    } catch (const std::exception&) {
        return Fail(exitStoreTrouble,
                    "Something that should not happen went wrong with the store of the cards. "
                    "\"tavrik-card list\" tells which card is broken.");
    }
}
