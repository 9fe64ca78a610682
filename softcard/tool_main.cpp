// tavrik-card: makes software cards and does with them what a person does with real ones.
//
// Exit codes: 0 done, 1 the store or the output cannot be read or written, 2 bad arguments, 3 unknown card, 4
// name taken, 5 card in a reader, 6 reader occupied, 7 card not inserted, 8 wrong code, 9 code locked or not
// initialised, 10 nothing to import, 11 unknown reader, 12 the card is in use. Every failure is told in one
// sentence on the standard error.
#include "store_error.h"
#include "system/program_start.h"
#include "tool_commands.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int exitStoreTrouble = 1;
constexpr int exitBadArguments = 2;

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
    CLI::App app("Software cards", "tavrik-card");
    softcard::AddCardCommands(app);
    softcard::AddListCommands(app);
    softcard::AddCodeCommands(app);
    softcard::AddKeyCommands(app);
    softcard::AddFaultCommand(app);
    app.require_subcommand(1);
    try {
        std::reverse(arguments.begin(), arguments.end()); // as the parser wants them
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);
        }
        std::cerr << "tavrik-card: " << error.what() << '\n';
        return exitBadArguments;
    }
    return 0;
}

} // namespace

int main(int argumentCount, char** argumentValues)
{
    try {
        const int exitCode = Run(softcard::StartProgram(argumentCount, argumentValues));
        if (!std::cout.flush()) {
            throw std::runtime_error("The standard output cannot be written.");
        }
        return exitCode;
    } catch (const softcard::StoreError& error) {
        std::cerr << "tavrik-card: " << error.what() << '\n';
        return ExitCode(error.Failure());
    } catch (const std::exception& error) {
        std::cerr << "tavrik-card: " << error.what() << '\n';
        return exitStoreTrouble;
    }
}
