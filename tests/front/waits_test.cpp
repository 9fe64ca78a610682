// Waits that let time pass, and their end.
#include "front/model/waits.h"

#include <gtest/gtest.h>

#include <thread>

namespace front {
namespace {

using Clock = std::chrono::steady_clock;

TEST(WaitsTest, WaitLastsUntilTheTime)
{
    Waits waits;
    const Waits::Time time = Clock::now() + std::chrono::milliseconds(50);
    waits.Until(time);
    EXPECT_GE(Clock::now(), time);
    EXPECT_FALSE(waits.AreOver());
}

TEST(WaitsTest, TimeThatHasPassedIsNotWaitedFor)
{
    Waits waits;
    waits.Until(Clock::now() - std::chrono::hours(1));
}

TEST(WaitsTest, EndReleasesThoseThatWait)
{
    Waits waits;
    std::thread waiting([&waits] { waits.Until(Clock::now() + std::chrono::hours(1)); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    waits.End();
    waiting.join();
    EXPECT_TRUE(waits.AreOver());
}

TEST(WaitsTest, NothingIsWaitedForAfterTheEnd)
{
    Waits waits;
    waits.End();
    waits.Until(Clock::now() + std::chrono::hours(1));
}

} // namespace
} // namespace front
