// The library and the front, with the software card, in hosts that are hard on them. tests/symbols has hosts with other
// modules in the global scope, the suites of tests/blackbox those with a locale of their own, softcard.SetId those with borrowed
// rights, and tests/process_end those that end with a thread at work.
#include "tests/hosts/card_for_hosts.h"

#include <cerrno>
#include <fstream>

namespace hosts {
namespace {

// As SECURITY.md tells it. The code of a sanitizer's build takes more.
constexpr std::size_t leastStack = std::size_t{64} * 1024 * INSTRUMENTED_STACK;

class HostileHosts : public HostTest
{
};

INSTANTIATE_TEST_SUITE_P(Each, HostileHosts, testing::Values("library", "front"),
                         [](const auto& instance) { return instance.param; });

TEST_P(HostileHosts, CardWorksInAPlainHost)
{
    ExpectHostSucceeds({"plain"});
    EXPECT_NE(Log().find("C_Sign"), std::string::npos);
}

TEST_P(HostileHosts, NoFileOfOursStandsInThePlaceOfAClosedStream)
{
    ExpectHostSucceeds({"closed-streams"});
}

TEST_P(HostileHosts, SmallStackIsEnough)
{
    ExpectHostSucceeds({"stack", std::to_string(leastStack)});
}

TEST_P(HostileHosts, InterruptedSystemCallsGoOn)
{
    ExpectHostSucceeds({"signals"});
}

TEST_P(HostileHosts, SignalsAreTakenByTheHostAlone)
{
    ExpectHostSucceeds({"sigwait"});
}

class RefusedCalls : public HostTest
{
};

INSTANTIATE_TEST_SUITE_P(Each, RefusedCalls, testing::Values("library", "front"),
                         [](const auto& instance) { return instance.param; });

TEST_P(RefusedCalls, ThatAreNotPermittedAreDoneWithout)
{
    ExpectHostSucceeds({"refused", std::to_string(EPERM), CARD_TOOL});
}

TEST_P(RefusedCalls, ThatTheSystemDoesNotHaveAreDoneWithout)
{
    ExpectHostSucceeds({"refused", std::to_string(ENOSYS), CARD_TOOL});
}

class EndOfTheProcess : public HostTest
{
protected:
    // With each function, on each thread.
    void ExpectEnds(const std::string& moment)
    {
        for (const std::string end : {"exit", "quick_exit"}) {
            for (const std::string thread : {"main", "thread"}) {
                ExpectHostSucceeds({"end", end, moment, thread});
            }
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Each, EndOfTheProcess, testing::Values("library", "front"),
                         [](const auto& instance) { return instance.param; });

TEST_P(EndOfTheProcess, MayComeWhileAnotherThreadSigns)
{
    ExpectEnds("work");
}

TEST_P(EndOfTheProcess, MayComeDuringAStartOrAnEnd)
{
    ExpectEnds("start");
}

TEST_P(EndOfTheProcess, MayComeWhileACallWaitsInTheCardLayer)
{
    Tool({"fault", "anna", "ES_SignData", "--delay", "60000", "--count", "4"});
    ExpectEnds("card");
}

TEST_P(EndOfTheProcess, MayComeDuringADialog)
{
    setenv("TAVRIK_PINENTRY", SLOW_PINENTRY, 1);
    std::vector<std::filesystem::path> goOn;
    for (const std::string end : {"exit", "quick_exit"}) {
        for (const std::string thread : {"main", "thread"}) {
            const std::string way = std::string(end).append(thread);
            goOn.push_back(Home() / ("go on " + way));
            setenv("SLOW_PINENTRY_ASKED", (Home() / ("asked " + way)).c_str(), 1);
            setenv("SLOW_PINENTRY_GO_ON", goOn.back().c_str(), 1);
            ExpectHostSucceeds({"end", end, "dialog", thread});
        }
    }
    for (const auto& file : goOn) {
        std::ofstream(file) << "\n"; // the keyboards of the hosts that have ended wait for it
    }
}

} // namespace
} // namespace hosts
