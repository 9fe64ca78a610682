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

    // The callback that the library hands to the card side.
    static ReaderCallback Callback()
    {
        static ReaderCallback callback = nullptr;
        StubCard().onWait = [](ReaderCallback given) {
            if (callback == nullptr) {
                callback = given;
            }
        };
        Monitoring().Start();
        StopAndJoin();
        StubCard().onWait = nullptr;
        return callback;
    }

    static void Send(uint32_t event, const char16_t* reader, CardSession session, CardStatus status = 0)
    {
        Callback()(event, reader, session, &status);
    }
};

void WaitFor(const std::atomic<bool>& flag)
{
    for (int i = 0; i < 10000 && !flag; ++i) {
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
    EXPECT_EQ(Cache().GetSlots().size(), 2U);
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

TEST_F(MonitoringThreadTest, WaitsNoMoreAfterItsEnd)
{
    Monitoring().Start();
    StopAndJoin();
    const auto waits = StubCard().waits.size();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(StubCard().waits.size(), waits);
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

TEST_F(MonitoringThreadTest, InsertionAddsTheCardOnItsSession)
{
    Send(3, u"Reader", 42);
    const auto slots = Cache().GetSlots();
    ASSERT_EQ(slots.size(), 2U);
    EXPECT_EQ(Cache().GetCardToken(slots[0]->tokenId)->card.session, 42U);
    EXPECT_EQ(Cache().GetCardToken(slots[0]->tokenId)->readerName, "Reader");
}

TEST_F(MonitoringThreadTest, InsertionWithoutSessionLoadsAllReaders)
{
    const auto callback = Callback();
    StubCard().readers = std::u16string(u"A\0B\0", 4);
    StubCard().readerCount = 4;
    StubCard().nextSession = 7;
    const CardStatus status = 0;
    callback(3, u"Reader", 0, &status);
    EXPECT_EQ(Cache().GetSlots().size(), 4U);
}

TEST_F(MonitoringThreadTest, RemovalTakesTheCardAndClosesItsSession)
{
    const auto card = AddCard("Reader", 42);
    const auto session = AddSession(card.qualifiedSlot);
    LogCapture log;
    Send(4, u"Reader", 99);
    EXPECT_EQ(Cache().GetSession(session), nullptr);
    EXPECT_TRUE(Cache().GetSlots().empty());
    EXPECT_EQ(CallsOf("CloseSession 42"), 1);
    EXPECT_EQ(CallsOf("CloseSession 99"), 0);
    EXPECT_TRUE(log.MessagesOf("ReaderCallback").empty());
}

TEST_F(MonitoringThreadTest, RemovalWithoutSessionIsDropped)
{
    AddCard("Reader", 42);
    Send(4, u"Reader", 0);
    EXPECT_EQ(Cache().GetSlots().size(), 2U);
}

TEST_F(MonitoringThreadTest, RemovalNarrowsTheNameAsTheStoreDoes)
{
    AddCard("RX", 42);
    Send(4, u"R\x0158", 42);
    EXPECT_TRUE(Cache().GetSlots().empty());
}

TEST_F(MonitoringThreadTest, OtherEventsAreIgnored)
{
    AddCard("Reader", 42);
    for (const uint32_t event : {0U, 1U, 2U, 5U, 0xFFFFFFFFU}) {
        Send(event, u"Reader", 42);
    }
    EXPECT_EQ(Cache().GetSlots().size(), 2U);
}

TEST_F(MonitoringThreadTest, FailedEventIsLoggedAndLeavesTheStore)
{
    AddCard("Reader", 42);
    const auto callback = Callback();
    for (const uint32_t event : {3U, 4U, 7U}) {
        LogCapture log;
        const CardStatus status = 15;
        callback(event, u"Reader", 42, &status);
        EXPECT_EQ(log.Lines(), (std::vector<LoggedLine>{
                                   {" DBG", "Card inserted event occurred with error: 0xf eIncorrectCode",
                                    "ReaderCallback", ""}}));
        EXPECT_EQ(Cache().GetSlots().size(), 2U);
    }
}

TEST_F(MonitoringThreadTest, FailedEventWithoutNameIsLoggedByItsNumber)
{
    const auto callback = Callback();
    LogCapture log;
    const CardStatus status = 999;
    callback(3, u"Reader", 42, &status);
    EXPECT_EQ(log.MessagesOf("ReaderCallback"),
              std::vector<std::string>{"Card inserted event occurred with error: 0x3e7 "});
}
