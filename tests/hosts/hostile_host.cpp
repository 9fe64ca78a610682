// A host that does with itself what hosts should not, while it uses the library or the front with the software card.
//
//     hostile_host library|front FILE MODE [ARGUMENT]...
//
//     plain                      nothing of the kind
//     closed-streams             has no standard streams
//     stack BYTES                makes all calls on a thread with a stack of this size
//     signals                    gets a signal every 200 microseconds, whose handler interrupts system calls
//     sigwait                    waits for its signals on its only thread, by sigwait and by signalfd, and looks at what each other
//                                thread holds back behind every call
//     fork _exit|exit|again [CALL]
//                                forks behind every call, or behind this one alone; the child ends in this way, or uses the
//                                second card first
//     end exit|quick_exit MOMENT main|thread
//                                ends on this thread while another one is at work: MOMENT is "work", "start", "dialog"
//                                or "card", a call that waits in the card-access library
//     unload OTHER CARD_LIBRARY  loads three modules and unloads them in every order, with and without C_Finalize
//     refused ERROR CARD_TOOL    is refused system calls with this errno, and has a second card inserted
//     secrets SCENARIO started|finalized
//                                reads codes from the standard input and ends at once behind the scenario, or behind
//                                C_Finalize: "logged-in", "signed", "decrypted", "qualified", "authorised", "asked", "wrong",
//                                "cancelled" or "wrong-pin"
//
// TAVRIK_HOME has a card "anna" in "Reader 0" and, for "fork", a card "boris" in "Reader 1"; TAVRIK_PINENTRY is the keyboard.
// Ends with 0; 3 when something fails, which it tells on the standard error; by SIGALRM when it hangs.
#include "tests/hosts/card_client.h"
#include "tests/hosts/host_modes.h"

#include <cstdio>
#include <exception>
#include <map>

#include <unistd.h>

namespace {

constexpr int failed = 3;
constexpr unsigned longestRun = 240; // seconds

template <typename Types>
void Run(const std::string& mode, const std::vector<std::string>& arguments)
{
    using namespace hosts;
    const std::map<std::string, void (*)(const std::vector<std::string>&)> modes = {
        {"plain", UsePlainly<Types>},
        {"closed-streams", UseWithoutStreams<Types>},
        {"stack", UseOnSmallStack<Types>},
        {"signals", UseUnderSignals<Types>},
        {"sigwait", WaitForSignals<Types>},
        {"fork", ForkBehindEveryCall<Types>},
        {"end", EndAtTheMoment<Types>},
        {"unload", UnloadInEveryOrder<Types>},
        {"refused", UseWithRefusedCalls<Types>},
        {"secrets", LeaveSecrets<Types>},
    };
    Require(modes.contains(mode), "no such mode");
    modes.at(mode)(arguments);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        return failed;
    }
    alarm(longestRun);
    try {
        const std::vector<std::string> arguments(argv + 2,
                                                 argv + argc); // the file, the mode and its arguments
        if (std::string(argv[1]) == "front") {
            Run<blackbox::FrontTypes>(arguments[1], arguments);
        } else {
            Run<blackbox::LibraryTypes>(arguments[1], arguments);
        }
    } catch (const std::exception& error) {
        static_cast<void>(dprintf(hosts::ErrorOutput(), "%s: %s\n", argv[3], error.what()));
        _exit(failed);
    }
    return 0;
}
