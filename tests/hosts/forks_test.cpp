// Hosts that fork, and hosts that load and unload modules again and again.
#include "tests/hosts/card_for_hosts.h"

namespace hosts {
namespace {

class Forks : public HostTest
{
protected:
    Forks() { Tool({"insert", "boris", "Reader 1"}); }
};

INSTANTIATE_TEST_SUITE_P(Each, Forks, testing::Values("library", "front"),
                         [](const auto& instance) { return instance.param; });

TEST_P(Forks, ChildOfAnyMomentMayLeaveAtOnce)
{
    ExpectHostSucceeds({"fork", "_exit"});
}

TEST_P(Forks, ChildOfAnyMomentMayExit)
{
    ExpectHostSucceeds({"fork", "exit"});
}

TEST_P(Forks, ChildOfAnyMomentMayUseAnotherCard)
{
    ExpectHostSucceeds({"fork", "again"});
}

class Unloading : public HostTest
{
};

INSTANTIATE_TEST_SUITE_P(Each, Unloading, testing::Values("library", "front"),
                         [](const auto& instance) { return instance.param; });

TEST_P(Unloading, InAnyOrderLeavesNothing)
{
    ExpectHostSucceeds({"unload", OtherModule(GetParam()), CARD_LIBRARY});
}

} // namespace
} // namespace hosts
