// Cards that come and go while the library runs.
#include "tests/support/black_box_test.h"
#include "tests/support/eventually.h"
#include "tests/support/log_capture.h"
#include "tests/support/mutex_callbacks.h"
#include "tests/support/test_certificates.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>

namespace blackbox {
namespace {

const std::string eventError = "DBG ReaderCallback: Card inserted event occurred with error: ";

class ReaderMonitoringTest : public BlackBoxTest
{
protected:
    void Insert(const char16_t* reader, Card card = {})
    {
        script->InsertCard(reader, std::move(card));
        ProcessEvents();
    }

    void Remove(const char16_t* reader)
    {
        script->RemoveCard(reader);
        ProcessEvents();
    }

    // Returns once so many waits in a row have thrown.
    void FailWaits(int count, const std::function<void()>& thrower)
    {
        std::atomic<int> left{count};
        for (int wait = 0; wait < count; ++wait) {
            script->Next("WaitForReaderEvent", {.hook = [&left, thrower] {
                             --left;
                             thrower();
                         }});
        }
        ASSERT_TRUE(Eventually([&left] { return left == 0; }));
    }

    CK_RV InfoAnswer(CK_SESSION_HANDLE session)
    {
        CK_SESSION_INFO info{};
        return f->C_GetSessionInfo(session, &info);
    }
};

TEST_F(ReaderMonitoringTest, InsertedCardGivesTwoMoreSlotsOnTheSessionOfTheEvent)
{
    InitializeWithCard();
    Insert(readerB);
    EXPECT_EQ(script->Calls(), AddingACard(102));
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{1, 2, 3, 4}));
    CK_SLOT_INFO info{};
    ASSERT_EQ(f->C_GetSlotInfo(4, &info), CKR_OK);
    EXPECT_EQ(FieldText(info.slotDescription), Padded("Reader B; Sig_EP", 64));
    script->ForgetCalls();
    OpenSession(3);
    EXPECT_EQ(script->Calls(), Texts{"StartTransaction(102)"});
}

TEST_F(ReaderMonitoringTest, InsertedCardIsHandledOnTheMonitoringThread)
{
    Initialize();
    ASSERT_TRUE(HasBegunWaits(1));
    const std::vector<scripted::CardCall> waits = script->CallsOf("WaitForReaderEvent");
    Insert(readerA);
    ASSERT_EQ(script->CallsOf("StartTransaction").size(), 1U);
    EXPECT_EQ(script->CallsOf("StartTransaction").front().thread, waits.back().thread);
    EXPECT_NE(waits.back().thread, std::this_thread::get_id());
}

TEST_F(ReaderMonitoringTest, EventsMayBeCalledBackOnAnyThread)
{
    script->DeliverOnOwnThread(true);
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    Insert(readerA);
    EXPECT_EQ(Slots().size(), 2U);
    Remove(readerA);
    EXPECT_EQ(Slots().size(), 0U);
}

TEST_F(ReaderMonitoringTest, CallbackTakesNoLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    Insert(readerA);
    Remove(readerA);
    EXPECT_EQ(script->Calls(), (AddingACard(101) + Texts{"CloseSession(101)"}));
}

TEST_F(ReaderMonitoringTest, EventDuringAnotherFunctionsCardCallIsNotHeldUp)
{
    InitializeWithCard();
    script->Next("StartTransaction", {.hook = [&] { Insert(readerB); }});
    OpenSession(1);
    EXPECT_EQ(Slots().size(), 4U);
}

TEST_F(ReaderMonitoringTest, EventsThatWaitForTheStartAreHandledInIt)
{
    script->AddReader(readerB, Card{});
    const CardSession session = script->InsertCard(readerA, Card{});
    script->TakeCard(readerA);
    EXPECT_EQ(session, 101U);
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(Slots().size(), 4U);
    for (const scripted::CardCall& call : script->CallsOf("StartTransaction")) {
        EXPECT_EQ(call.thread, std::this_thread::get_id());
    }
    const Texts calls = script->Calls();
    EXPECT_EQ(Texts(calls.end() - 7, calls.end()), (Texts{"WaitForReaderEvent(0)"} + AddingACard(101)));
}

TEST_F(ReaderMonitoringTest, RemovedCardTakesItsSessionsAndSlotsSilently)
{
    LogCapture log(script);
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    script->ForgetCalls();
    log.Forget();
    Remove(readerA);
    EXPECT_EQ(script->Calls(), (Texts{"StopTransaction(101)", "CloseSession(101)"}));
    EXPECT_EQ(log.Take(), Texts{});
    EXPECT_EQ(InfoAnswer(session), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(Slots(), std::vector<CK_SLOT_ID>{});
}

TEST_F(ReaderMonitoringTest, RemovedCardWithoutATransactionIsOnlyClosed)
{
    InitializeWithCard();
    Remove(readerA);
    EXPECT_EQ(script->Calls(), Texts{"CloseSession(101)"});
}

TEST_F(ReaderMonitoringTest, RemovedCardTakesItsObjects)
{
    InitializeWithCard(CertifiedCard());
    Insert(readerB, CertifiedCard());
    const CK_SESSION_HANDLE onA = OpenSession(1);
    const CK_SESSION_HANDLE onB = OpenSession(3);
    LoginUser(onA);
    const CK_OBJECT_HANDLE object = FindAll(onA).front();
    CK_ATTRIBUTE label{CKA_LABEL, nullptr, 0};
    ASSERT_EQ(f->C_GetAttributeValue(onB, object, &label, 1), CKR_OK);
    Remove(readerA);
    EXPECT_EQ(f->C_GetAttributeValue(onB, object, &label, 1), CKR_OBJECT_HANDLE_INVALID);
}

TEST_F(ReaderMonitoringTest, CardPutBackIsANewOneNotLoggedInAndWithoutObjects)
{
    InitializeWithCard(CertifiedCard());
    LoginUser(OpenSession(1));
    Remove(readerA);
    Insert(readerA, CertifiedCard());
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{3, 4}));
    const CK_SESSION_HANDLE session = OpenSession(3);
    EXPECT_EQ(StateOf(session), CKS_RO_PUBLIC_SESSION);
    script->ForgetCalls();
    LoginUser(session);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 1U);
    EXPECT_EQ(FindAll(session), (std::vector<CK_OBJECT_HANDLE>{0x70000003, 0x30000003}));
}

TEST_F(ReaderMonitoringTest, RemovalClosesTheSessionThatTheLibraryHoldsAndNotTheOneOfTheEvent)
{
    InitializeWithCard();
    script->PushEvent(cardRemovedEvent, readerA, 55555);
    ProcessEvents();
    EXPECT_EQ(script->Calls(), Texts{"CloseSession(101)"});
}

TEST_F(ReaderMonitoringTest, RemovalWithoutASessionIsDropped)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    script->ForgetCalls();
    script->PushEvent(cardRemovedEvent, readerA, 0);
    ProcessEvents();
    EXPECT_EQ(script->Calls(), Texts{});
    EXPECT_EQ(InfoAnswer(session), CKR_OK);
    EXPECT_EQ(Slots().size(), 2U);
}

TEST_F(ReaderMonitoringTest, RemovalFromAnotherReaderChangesNothing)
{
    InitializeWithCard();
    for (const char16_t* name : {u"Reader", u"Reader A ", u"reader a", u""}) {
        script->PushEvent(cardRemovedEvent, name, 101);
    }
    ProcessEvents();
    EXPECT_EQ(script->Calls(), Texts{});
    EXPECT_EQ(Slots().size(), 2U);
}

TEST_F(ReaderMonitoringTest, EventsWithAnotherCodeAreIgnored)
{
    InitializeWithCard();
    for (const uint32_t event : {0U, 1U, 2U, 5U, 0x103U, 0xFFFFFFFFU}) {
        script->PushEvent(event, readerA, 101);
    }
    ProcessEvents();
    EXPECT_EQ(script->Calls(), Texts{});
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{1, 2}));
}

TEST_F(ReaderMonitoringTest, EventsWithAStatusChangeNothing)
{
    InitializeWithCard();
    script->AddReader(readerB, Card{});
    for (const CardStatus status : {1, 15, 999, -1}) {
        script->PushEvent(cardInsertedEvent, readerB, 500, status);
        script->PushEvent(cardRemovedEvent, readerA, 101, status);
    }
    ProcessEvents();
    EXPECT_EQ(script->Calls(), Texts{});
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{1, 2}));
}

TEST_F(ReaderMonitoringTest, EventsWithAStatusAreLoggedAsInsertionsWhateverTheyAre)
{
    LogCapture log(script);
    InitializeWithCard();
    log.Forget();
    script->PushEvent(cardInsertedEvent, readerB, 500, 30);
    script->PushEvent(cardRemovedEvent, readerA, 101, 64);
    script->PushEvent(77, readerA, 101, 15);
    script->PushEvent(cardRemovedEvent, readerA, 101, 999);
    script->PushEvent(cardRemovedEvent, readerA, 101, -1);
    ProcessEvents();
    EXPECT_EQ(log.Take(),
              (Texts{eventError + "0x1e eOpenPaceError", eventError + "0x40 eStatusINTERNAL_ERROR",
                     eventError + "0xf eIncorrectCode", eventError + "0x3e7 ", eventError + "0xffffffff "}));
}

TEST_F(ReaderMonitoringTest, StatusNamesHaveTheirGaps)
{
    LogCapture log(script);
    InitializeWithCard();
    log.Forget();
    for (const CardStatus status : {6, 31, 63, 67, 95, 96}) {
        script->PushEvent(cardInsertedEvent, readerB, 500, status);
    }
    ProcessEvents();
    EXPECT_EQ(log.Take(), (Texts{eventError + "0x6 eInsuficientBuffer", eventError + "0x1f ",
                                 eventError + "0x3f ", eventError + "0x43 eStatusINVALID_PARAMETER",
                                 eventError + "0x5f eStatusUNSPECIFIED_ERROR", eventError + "0x60 "}));
}

TEST_F(ReaderMonitoringTest, InsertionIsLoggedLikeTheLoadingOfACard)
{
    LogCapture log(script);
    Initialize();
    log.Forget();
    Insert(readerA);
    EXPECT_EQ(log.Take(), (Texts{"DBG LoadSlotList: LoadSlotList call start",
                                 "DBG LoadSlotList: CardAPI session is not null, going to start transaction",
                                 "DBG InternalCache::AddCardToken: New card token added in reader: Reader A",
                                 "DBG InternalCache::AddSlot: New slot added",
                                 "DBG InternalCache::AddSlot: New slot added",
                                 "DBG LoadSlotList: LoadSlotList call end"}));
}

TEST_F(ReaderMonitoringTest, InsertionWithoutASessionWalksAllReadersOnceMore)
{
    InitializeWithCard();
    script->PushEvent(cardInsertedEvent, readerB, 0);
    ProcessEvents();
    EXPECT_EQ(script->Calls(), (Texts{"GetReaderList(1023)", "OpenSession(Reader A)"} + AddingACard(102)));
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{1, 2, 3, 4})) << "beside those that were there";
}

TEST_F(ReaderMonitoringTest, SecondInsertionForAReaderMakesASecondCardAndARemovalTakesBoth)
{
    InitializeWithCard();
    Insert(readerA);
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{1, 2, 3, 4}));
    script->ForgetCalls();
    Remove(readerA);
    EXPECT_EQ(script->Calls(), (Texts{"CloseSession(101)", "CloseSession(102)"}));
    EXPECT_EQ(Slots(), std::vector<CK_SLOT_ID>{});
}

TEST_F(ReaderMonitoringTest, ReaderNamesOfEventsAreNarrowedToTheirLowBytes)
{
    Initialize();
    Insert(u"\u0141bc");
    CK_SLOT_INFO info{};
    ASSERT_EQ(f->C_GetSlotInfo(1, &info), CKR_OK);
    EXPECT_EQ(FieldText(info.slotDescription), Padded("Abc; Sig_ZEP", 64));
    script->PushEvent(cardRemovedEvent, u"Abc", 1);
    ProcessEvents();
    EXPECT_EQ(Slots(), std::vector<CK_SLOT_ID>{});
}

TEST_F(ReaderMonitoringTest, EventsAreHandledAgainAfterANewStart)
{
    InitializeWithCard();
    Finalize();
    script->ForgetCalls();
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    const Texts calls = script->Calls();
    EXPECT_EQ(calls.at(3), "CloseSession(101)") << "the card of the old run, before the readers are walked";
    EXPECT_EQ(calls.at(4), "GetReaderList(1023)");
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{3, 4}));
    Insert(readerB);
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{3, 4, 5, 6}));
}

TEST_F(ReaderMonitoringTest, NoEventIsHandledAfterFinalize)
{
    Initialize();
    Finalize();
    script->InsertCard(readerA, Card{});
    EXPECT_FALSE(script->WaitUntilEventsProcessed(std::chrono::milliseconds(100)));
    Initialize();
    ProcessEvents();
    EXPECT_EQ(Slots().size(), 4U) << "by the reader list and by the event that had waited";
}

TEST_F(ReaderMonitoringTest, WaitsGoOnWhateverTheyReturnAndLogNothing)
{
    LogCapture log(script);
    Initialize();
    log.Forget();
    script->ForgetCalls();
    EXPECT_TRUE(HasBegunWaits(3));
    EXPECT_EQ(log.Take(), Texts{});
}

TEST_F(ReaderMonitoringTest, ExceptionWhileClosingARemovedCardDoesNotStopMonitoring)
{
    script->AddReader(readerA);
    for (const bool onOwnThread : {false, true}) {
        script->DeliverOnOwnThread(onOwnThread);
        script->PutCard(readerA, {});
        Initialize();
        ASSERT_EQ(Slots().size(), 2U);
        OpenSession(Slots().front());
        script->Next("StopTransaction", {.hook = [] { throw std::runtime_error("scripted"); }});
        script->Next("CloseSession", {.hook = [] { throw 5; }}); // NOLINT(hicpp-exception-baseclass)
        Remove(readerA);
        EXPECT_EQ(Slots(), std::vector<CK_SLOT_ID>{});
        Insert(readerA);
        EXPECT_EQ(Slots().size(), 2U) << "the watch goes on";
        Finalize();
        script->TakeCard(readerA);
    }
}

TEST_F(ReaderMonitoringTest, CardSessionOfAnInsertionIsClosedWhenTheTransactionThrows)
{
    Initialize();
    LeaveLedgerAlone(); // a transaction whose start threw has no end
    script->Next("StartTransaction", {.hook = [] { throw std::runtime_error("scripted"); }});
    script->InsertCard(readerA, {});
    ProcessEvents();
    EXPECT_EQ(script->Ledger().back().closes, 1);
    EXPECT_EQ(Slots(), std::vector<CK_SLOT_ID>{});
}

TEST_F(ReaderMonitoringTest, ExceptionWhileReadingAnInsertedCardDoesNotStopMonitoring)
{
    Initialize();
    script->Next("GetTokenInfo", {.hook = [] { throw std::runtime_error("scripted"); }});
    Insert(readerA);
    Insert(readerB);
    EXPECT_EQ(Slots().size(), 2U) << "those of the second card";
    LeaveLedgerAlone(); // the transaction around the reads was never stopped
}

TEST_F(ReaderMonitoringTest, ExceptionThrownByTheWaitDoesNotStopMonitoring)
{
    Initialize();
    FailWaits(2, [] { throw std::runtime_error("scripted"); });
    Insert(readerA);
    EXPECT_EQ(Slots().size(), 2U);
}

TEST_F(ReaderMonitoringTest, FailedWaitIsLoggedOnceUntilOneSucceeds)
{
    LogCapture log(script);
    Initialize();
    log.Forget();
    FailWaits(2, [] { throw std::runtime_error("scripted"); });
    Insert(readerA);
    FailWaits(1, [] { throw 5; }); // NOLINT(hicpp-exception-baseclass)
    Insert(readerB);
    EXPECT_EQ(log.TakeOf("MonitoringThread::DoMonitoring"),
              (Texts{"ERR MonitoringThread::DoMonitoring: Watching the readers failed: scripted",
                     "ERR MonitoringThread::DoMonitoring: Watching the readers failed: unknown exception"}));
}

} // namespace
} // namespace blackbox
