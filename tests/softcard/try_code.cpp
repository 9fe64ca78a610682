// Uses the card in "Reader 0" as a process of its own:
//   softcard_try_code bok|pin CODE   tries one code; the exit code is what the verification returned
//   softcard_try_code hold FILE      starts a transaction, makes FILE, and waits to be killed
// The exit code is 100 when there was no session, or no transaction.
#include "tests/softcard/card_library.h"

#include <chrono>
#include <exception>
#include <fstream>
#include <iostream>
#include <string_view>
#include <thread>

namespace {

constexpr int noSession = 100;

int HoldTransaction(CardSession session, const char* file)
{
    if (softcard::test::Library().startTransaction(session) != 0) {
        return noSession;
    }
    std::ofstream(file) << "holding\n";
    while (true) {
        std::this_thread::sleep_for(std::chrono::hours(1));
    }
}

int Run(std::string_view command, const char* argument)
{
    using namespace softcard::test;
    Library().initialize(nullptr);
    CardSession session = 0;
    Library().openSession(u"Reader 0", &session);
    if (session == 0) {
        return noSession;
    }
    if (command == "hold") {
        return HoldTransaction(session, argument);
    }
    return (command == "bok" ? VerifyBok(session, argument) : VerifyPin(session, argument)).returned;
}

} // namespace

int main(int argumentCount, char** argumentValues)
{
    try {
        return argumentCount == 3 ? Run(argumentValues[1], argumentValues[2]) : noSession;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return noSession;
    }
}
