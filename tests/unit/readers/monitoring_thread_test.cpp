#include "src/readers/monitoring_thread.h"

#include "tests/support/thrown.h"
#include "tests/unit/card/stub_card.h"
#include "tests/unit/log/log_capture.h"
#include "tests/unit/store/store_fixture.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>

namespace {

class MonitoringThreadTest : public StoreTest
{
protected:
    static MonitoringThread& Monitoring() { return MonitoringThread::GetInstance(); }

    static void StopAndJoin()
    {
        Monitoring().Stop();
        Monitoring().Join();
    }
};

void WaitFor(const std::atomic<bool>& flag)
{
    for (int i = 0; i < 60000 && !flag; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

TEST_F(MonitoringThreadTest, LoadsTheCardsAndWaitsOnceOnTheCallersThread)
{
    StubCard().readers = std::u16string(u"A\0", 2);
    StubCard().readerCount = 2;
    StubCard().nextSession = 7;
    const auto caller = std::this_thread::get_id();
    std::atomic<int> waits{0};
    std::atomic<bool> firstOnCaller{false};
    std::atomic<bool> laterElsewhere{false};
    StubCard().onWait = [&](ReaderCallback) {
        if (waits++ == 0) {
            firstOnCaller = std::this_thread::get_id() == caller;
        } else {
            laterElsewhere = std::this_thread::get_id() != caller;
        }
    };
    LogCapture log;
    Monitoring().Start();
    EXPECT_EQ(Cache().GetSlotIds().size(), 2U);
    WaitFor(laterElsewhere);
    StopAndJoin();
    EXPECT_EQ(log.MessagesOf("MonitoringThread::Start"),
              std::vector<std::string>{"Going to start DoMonitoring thread"});
    EXPECT_TRUE(firstOnCaller);
    EXPECT_TRUE(laterElsewhere);
    const auto& recorded = StubCard().waits;
    ASSERT_GE(recorded.size(), 2U);
    EXPECT_EQ(recorded[0], 0U);
    EXPECT_TRUE(std::all_of(recorded.begin() + 1, recorded.end(), [](uint32_t wait) { return wait == 500; }));
}

TEST_F(MonitoringThreadTest, CanBeStartedAgain)
{
    for (int i = 0; i < 3; ++i) {
        Monitoring().Start();
        EXPECT_EQ(ErrorOf([] { StopAndJoin(); }), std::error_code());
    }
}

TEST_F(MonitoringThreadTest, KeepsEveryWatchUntilItIsJoined)
{
    std::mutex lock;
    std::set<std::thread::id> watching;
    StubCard().onWait = [&](ReaderCallback) {
        const std::lock_guard<std::mutex> guard(lock);
        watching.insert(std::this_thread::get_id());
    };
    const auto watches = [&] {
        const std::lock_guard<std::mutex> guard(lock);
        return watching.size() - watching.count(std::this_thread::get_id());
    };
    Monitoring().Start();
    Monitoring().Start();
    for (int i = 0; i < 60000 && watches() < 2; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(watches(), 2U);
    StopAndJoin();
    StubCard().onWait = nullptr; // read by no watch any more
    EXPECT_EQ(ErrorOf([] { Monitoring().Join(); }), std::make_error_code(std::errc::invalid_argument));
}

TEST_F(MonitoringThreadTest, CannotBeJoinedTwice)
{
    Monitoring().Start();
    StopAndJoin();
    EXPECT_EQ(ErrorOf([] { Monitoring().Join(); }), std::make_error_code(std::errc::invalid_argument));
}
