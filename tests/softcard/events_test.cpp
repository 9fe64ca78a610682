#include "card_home.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace softcard::test;
using Clock = std::chrono::steady_clock;

namespace {

struct Event
{
    uint32_t code;
    std::u16string reader;
    CardSession session;
    CardStatus status;
    Clock::time_point time;
};

// The boundary's callback carries no pointer of ours, so what it brings is kept here.
struct Heard
{
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Event> events;
};

Heard& TheHeard()
{
    static auto* const heard = new Heard();
    return *heard;
}

void Listen(uint32_t code, const char16_t* reader, CardSession session, const CardStatus* status)
{
    Heard& heard = TheHeard();
    const std::lock_guard lock(heard.mutex);
    heard.events.push_back({code, reader, session, *status, Clock::now()});
    heard.changed.notify_all();
}

std::vector<Event> TakeEvents()
{
    Heard& heard = TheHeard();
    const std::lock_guard lock(heard.mutex);
    return std::exchange(heard.events, {});
}

// The next event, which must come within five seconds.
Event AwaitEvent()
{
    Heard& heard = TheHeard();
    std::unique_lock lock(heard.mutex);
    if (!heard.changed.wait_for(lock, std::chrono::seconds(5), [&] { return !heard.events.empty(); })) {
        ADD_FAILURE() << "no event came";
        return {};
    }
    Event event = heard.events.front();
    heard.events.erase(heard.events.begin());
    return event;
}

std::vector<Event> EventsNow()
{
    EXPECT_EQ(Library().waitForReaderEvent(0, Listen), 0);
    return TakeEvents();
}

class Events : public CardTest
{
protected:
    Events() { TakeEvents(); }
};

// Another thread that waits for events again and again, as a monitoring thread does.
class Monitor
{
public:
    Monitor()
        : thread_([this] {
              while (running_) {
                  Library().waitForReaderEvent(500, Listen);
              }
          })
    {
    }
    ~Monitor()
    {
        running_ = false;
        thread_.join();
    }
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;
    Monitor(Monitor&&) = delete;
    Monitor& operator=(Monitor&&) = delete;

private:
    std::atomic<bool> running_ = true;
    std::thread thread_;
};

TEST_F(Events, TellOfACardThatIsInserted)
{
    Insert("ref2");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].code, cardInsertedEvent);
    EXPECT_EQ(events[0].reader, u"Reader 0");
    EXPECT_EQ(events[0].status, 0);
    EXPECT_EQ(FlagsOf(events[0].session), cardPresentFlag) << "the session that came with it works";
    EXPECT_TRUE(EventsNow().empty()) << "once only";
}

TEST_F(Events, TellOfACardThatIsRemoved)
{
    const CardSession session = InsertAndOpen("ref2");
    Remove("ref2");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].code, cardRemovedEvent);
    EXPECT_EQ(events[0].reader, u"Reader 0");
    EXPECT_EQ(events[0].session, session);
    EXPECT_EQ(events[0].status, 0);
    EXPECT_TRUE(EventsNow().empty());
}

TEST_F(Events, DoNotTellOfACardThatWasOpened)
{
    InsertAndOpen("ref2");
    EXPECT_TRUE(EventsNow().empty());
}

TEST_F(Events, TellOfAnOpenedCardThatComesBack)
{
    const CardSession session = InsertAndOpen("ref2");
    Remove("ref2");
    EXPECT_EQ(EventsNow().size(), 1U);
    Insert("ref2");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].code, cardInsertedEvent);
    EXPECT_NE(events[0].session, session);
    EXPECT_EQ(FlagsOf(events[0].session), cardPresentFlag);
}

TEST_F(Events, SeeACardThatWentAndCameBackBetweenTwoWaits)
{
    InsertAndOpen("ref2");
    Remove("ref2");
    Insert("ref2");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].code, cardRemovedEvent);
    EXPECT_EQ(events[1].code, cardInsertedEvent);
}

TEST_F(Events, TellOfARemovalAfterTheSessionWasClosed)
{
    const CardSession session = InsertAndOpen("ref2");
    Library().closeSession(session);
    Remove("ref2");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_NE(events[0].session, 0U);
}

TEST_F(Events, TellOfEachReaderByItself)
{
    Insert("ref1", "A");
    Insert("ref2", "B");
    Open(u"A");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].reader, u"B");
}

TEST_F(Events, TellOfAReaderThatVanishesWithItsCard)
{
    InsertAndOpen("ref2");
    std::filesystem::remove(State() / "readers/Reader 0");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].code, cardRemovedEvent);
}

TEST_F(Events, OutliveTheReadersFolder)
{
    InsertAndOpen("ref2");
    std::filesystem::remove_all(State() / "readers");
    EXPECT_EQ(EventsNow().size(), 1U);
    std::thread waiting([] { Library().waitForReaderEvent(5000, Listen); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    Insert("ref2");
    const auto done = Clock::now();
    EXPECT_LT(AwaitEvent().time - done, std::chrono::milliseconds(1000));
    waiting.join();
}

TEST_F(Events, TellOfACardThatCannotBeRead)
{
    Insert("ref2");
    WriteText(State() / "cards/ref2/card.json", "no card");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].code, cardInsertedEvent);
    EXPECT_EQ(events[0].session, 0U);
    EXPECT_EQ(events[0].status, 8);
    EXPECT_TRUE(EventsNow().empty());
}

TEST_F(Events, StartAnewWithTheLibrary)
{
    InsertAndOpen("ref2");
    Library().finalize();
    Library().initialize(nullptr);
    EXPECT_EQ(EventsNow().size(), 1U) << "the new run has opened nothing yet";
}

TEST_F(Events, WaitAsLongAsAsked)
{
    const auto start = Clock::now();
    EXPECT_EQ(Library().waitForReaderEvent(0, Listen), 0);
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(100));
    EXPECT_EQ(Library().waitForReaderEvent(200, Listen), 0);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(200));
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(1500));
    EXPECT_EQ(Library().waitForReaderEvent(0, nullptr), 1);
}

TEST_F(Events, OfAnotherProcessComeWithinATenthOfASecond)
{
    const Monitor monitor;
    for (int round = 0; round < 3; ++round) {
        Insert("ref2");
        auto done = Clock::now();
        const Event inserted = AwaitEvent();
        EXPECT_EQ(inserted.code, cardInsertedEvent);
        EXPECT_LT(inserted.time - done, std::chrono::milliseconds(100));
        Remove("ref2");
        done = Clock::now();
        const Event removed = AwaitEvent();
        EXPECT_EQ(removed.code, cardRemovedEvent);
        EXPECT_EQ(removed.session, inserted.session);
        EXPECT_LT(removed.time - done, std::chrono::milliseconds(100));
    }
}

TEST_F(Events, BringSessionsThatWorkOnOtherThreads)
{
    const Monitor monitor;
    Insert("ref2");
    const Event inserted = AwaitEvent();
    EXPECT_EQ(VerifyBok(inserted.session, bok).returned, 0);
    EXPECT_EQ(FlagsOf(inserted.session), cardPresentFlag | secureMessagingFlag);
    EXPECT_EQ(Library().closeSession(inserted.session), 0);
}

// The callback may call the library, as a host that adds the card does.
TEST_F(Events, LeaveTheLibraryFreeDuringTheCallback)
{
    Insert("ref2");
    Library().waitForReaderEvent(
        0, [](uint32_t code, const char16_t* reader, CardSession session, const CardStatus* s) {
            Listen(code, reader, session, s);
            EXPECT_EQ(Library().startTransaction(session), 0);
            CardTokenInfo info{};
            EXPECT_EQ(Library().getTokenInfo(session, &info, nullptr, nullptr), 0);
            EXPECT_EQ(Library().stopTransaction(session), 0);
        });
    EXPECT_EQ(TakeEvents().size(), 1U);
}

TEST_F(Events, StopWithTheLibrary)
{
    CardStatus status = 0;
    std::atomic<bool> waiting = false;
    std::thread thread([&] {
        waiting = true;
        status = Library().waitForReaderEvent(60000, Listen);
    });
    while (!waiting) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const auto start = Clock::now();
    Library().finalize();
    thread.join();
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(status, 2);
}

} // namespace
