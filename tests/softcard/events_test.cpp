#include "softcard/card/fault.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/reader_events.h"

#include <chrono>
#include <string>
#include <thread>

using namespace softcard::test;

namespace {

constexpr std::chrono::seconds longest{30}; // of what returns at once, on a slow machine

class Events : public CardTest
{
protected:
    Events() { TakeEvents(); }

    // Returns once the only fault of the card has begun to happen.
    void AwaitFault(const std::string& card)
    {
        const auto deadline = Clock::now() + longest;
        while (!softcard::ReadFaults(State() / "cards" / card).empty() && Clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
};

TEST_F(Events, TellOfACardThatIsInserted)
{
    Insert("ref2");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].code, cardInsertedEvent);
    EXPECT_EQ(events[0].reader, u"Reader 0");
    EXPECT_EQ(events[0].status, eStatusOk);
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
    EXPECT_EQ(events[0].status, eStatusOk);
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

TEST_F(Events, TellOfACardThatWasRemovedAndInsertedBetweenTwoWaits)
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
    std::filesystem::remove_all(State() / "readers/Reader 0");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].code, cardRemovedEvent);
}

TEST_F(Events, OutliveTheReadersFolder)
{
    InsertAndOpen("ref2");
    std::filesystem::remove_all(State() / "readers");
    EXPECT_EQ(EventsNow().size(), 1U);
    const Monitor monitor;
    Insert("ref2");
    EXPECT_EQ(AwaitEvent().code, cardInsertedEvent);
}

TEST_F(Events, TellOfACardThatCannotBeRead)
{
    Insert("ref2");
    WriteText(State() / "cards/ref2/card.json", "no card");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].code, cardInsertedEvent);
    EXPECT_EQ(events[0].session, 0U);
    EXPECT_EQ(events[0].status, eUnknownCardType);
    EXPECT_TRUE(EventsNow().empty());
}

TEST_F(Events, AreNotLostWhenTheFaultsCannotBeRead)
{
    const std::filesystem::path faults = State() / "cards/ref2/faults.json";
    Insert("ref2");
    WriteText(faults, "no faults");
    const auto inserted = EventsNow();
    ASSERT_EQ(inserted.size(), 1U);
    EXPECT_EQ(inserted[0].code, cardInsertedEvent);
    EXPECT_EQ(inserted[0].session, 0U);
    EXPECT_EQ(inserted[0].status, eInternalError);
    std::filesystem::remove(faults);
    const CardSession session = Open();
    WriteText(faults, "no faults");
    Remove("ref2");
    const auto removed = EventsNow();
    ASSERT_EQ(removed.size(), 1U);
    EXPECT_EQ(removed[0].code, cardRemovedEvent);
    EXPECT_EQ(removed[0].session, session);
    EXPECT_EQ(removed[0].status, eStatusOk) << "it has gone in any case";
}

TEST_F(Events, TellOfACardThatFailsToOpen)
{
    Order("ref2", {"OpenSession", "--status", "eCardCommErr"});
    Insert("ref2");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].code, cardInsertedEvent);
    EXPECT_EQ(events[0].session, 0U);
    EXPECT_EQ(events[0].status, eCardCommErr);
    EXPECT_TRUE(EventsNow().empty()) << "it is not tried again";
    EXPECT_NE(Open(), 0U) << "until somebody opens it";
    Remove("ref2");
    Insert("ref2");
    EXPECT_EQ(EventsNow().size(), 2U);
}

TEST_F(Events, OfACardThatGoesWhileItIsOpenedBringNoSession)
{
    Order("ref2", {"OpenSession", "--remove"});
    Insert("ref2");
    const auto inserted = EventsNow();
    ASSERT_EQ(inserted.size(), 1U);
    EXPECT_EQ(inserted[0].code, cardInsertedEvent);
    EXPECT_EQ(inserted[0].status, eStatusREMOVED_CARD);
    const auto removed = EventsNow();
    ASSERT_EQ(removed.size(), 1U);
    EXPECT_EQ(removed[0].code, cardRemovedEvent);
    EXPECT_EQ(removed[0].session, 0U) << "there never was one";
}

TEST_F(Events, ThatAreDelayedKeepNoOtherThreadWaiting)
{
    const CardSession other = InsertAndOpen("ref3");
    Order("ref2", {"OpenSession", "--delay", "2000"});
    Insert("ref2", "Slow");
    const auto start = Clock::now();
    std::thread waiting([] { Library().waitForReaderEvent(0, Listen); });
    AwaitFault("ref2");
    EXPECT_EQ(FlagsOf(other), cardPresentFlag);
    EXPECT_TRUE(TakeEvents().empty()) << "the event is still delayed";
    waiting.join();
    const auto events = TakeEvents();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_GE(events[0].time - start, std::chrono::milliseconds(2000));
    EXPECT_EQ(FlagsOf(events[0].session), cardPresentFlag);
}

// The host would have the card twice otherwise.
TEST_F(Events, DoNotTellOfACardThatWasOpenedWhileTheEventWasUnderWay)
{
    Order("ref2", {"WaitForReaderEvent", "--delay", "2000"});
    Insert("ref2");
    std::thread waiting([] { Library().waitForReaderEvent(0, Listen); });
    AwaitFault("ref2");
    const CardSession session = Open();
    waiting.join();
    EXPECT_TRUE(TakeEvents().empty());
    EXPECT_EQ(FlagsOf(session), cardPresentFlag);
}

TEST_F(Events, CarryTheStatusThatWasOrdered)
{
    Order("ref2", {"WaitForReaderEvent", "--status", "999", "--count", "2"});
    Insert("ref2");
    const auto inserted = EventsNow();
    ASSERT_EQ(inserted.size(), 1U);
    EXPECT_EQ(inserted[0].status, 999);
    EXPECT_EQ(inserted[0].session, 0U);
    const CardSession session = Open();
    Remove("ref2");
    const auto removed = EventsNow();
    ASSERT_EQ(removed.size(), 1U);
    EXPECT_EQ(removed[0].code, cardRemovedEvent);
    EXPECT_EQ(removed[0].status, 999);
    EXPECT_EQ(removed[0].session, session);
}

TEST_F(Events, OfAnInsertionCanLackTheSessionWithoutAnError)
{
    Order("ref2", {"OpenSession", "--status", "0"});
    Insert("ref2");
    const auto events = EventsNow();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].code, cardInsertedEvent);
    EXPECT_EQ(events[0].status, eStatusOk);
    EXPECT_EQ(events[0].session, 0U);
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
    EXPECT_LT(Clock::now() - start, longest);
    EXPECT_EQ(Library().waitForReaderEvent(200, Listen), 0);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(200));
    EXPECT_LT(Clock::now() - start, longest);
    EXPECT_EQ(Library().waitForReaderEvent(0, nullptr), eInvalidParam);
}

TEST_F(Events, OfAnotherProcessCome)
{
    ExpectEvents(
        3, [this] { Insert("ref2"); }, [this] { Remove("ref2"); });
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
    std::thread thread([&] { status = Library().waitForReaderEvent(60000, Listen); });
    AwaitFollowing();
    const auto start = Clock::now();
    Library().finalize();
    thread.join();
    EXPECT_LT(Clock::now() - start, longest);
    EXPECT_EQ(status, eLibraryNotInitialized);
}

TEST_F(Events, StopWithTheLibraryAlsoWhenItStartsAgainAtOnce)
{
    for (int round = 0; round < 20; ++round) {
        CardStatus status = 0;
        std::thread thread([&] { status = Library().waitForReaderEvent(60000, Listen); });
        AwaitFollowing();
        const auto start = Clock::now();
        Library().finalize();
        Library().initialize(nullptr);
        thread.join();
        ASSERT_EQ(status, eLibraryNotInitialized) << "round " << round;
        ASSERT_LT(Clock::now() - start, longest);
    }
}

} // namespace
