// Sessions, and the card transaction that they hold between them.
#include "tests/support/black_box_test.h"
#include "tests/support/frame_lines.h"
#include "tests/support/log_capture.h"
#include "tests/support/mutex_callbacks.h"

#include <cstring>

namespace blackbox {
namespace {

const std::string noTransactionNote = "Cannot call StopTransaction, no active transaction exists on card";

class SessionTest : public BlackBoxTest
{
protected:
    CK_RV Open(CK_SLOT_ID slot, CK_FLAGS flags, CK_SESSION_HANDLE* session)
    {
        return f->C_OpenSession(slot, flags, nullptr, nullptr, session);
    }

    CK_SESSION_INFO InfoOf(CK_SESSION_HANDLE session)
    {
        CK_SESSION_INFO info;
        std::memset(&info, 0xEE, sizeof info);
        EXPECT_EQ(f->C_GetSessionInfo(session, &info), CKR_OK);
        return info;
    }
};

TEST_F(SessionTest, OpenWithoutSerialFlagIsRefusedFirst)
{
    InitializeWithCard();
    CK_SESSION_HANDLE session = 77;
    EXPECT_EQ(Open(1, 0, &session), CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    EXPECT_EQ(Open(1, CKF_RW_SESSION, nullptr), CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    EXPECT_EQ(Open(99, 0, &session), CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    EXPECT_EQ(Open(99, 0xFFFFFFFBU, nullptr), CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    EXPECT_EQ(session, 77U);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(SessionTest, OpenWithNullHandlePointerIsRefusedBeforeTheSlot)
{
    InitializeWithCard();
    EXPECT_EQ(Open(99, CKF_SERIAL_SESSION, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(Open(1, CKF_SERIAL_SESSION, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(SessionTest, OpenOnAnUnknownSlotIsRefused)
{
    InitializeWithCard();
    CK_SESSION_HANDLE session = 77;
    EXPECT_EQ(Open(3, CKF_SERIAL_SESSION, &session), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(session, 77U);
    EXPECT_EQ(OpenSession(1), 1U) << "no handle was used up";
}

TEST_F(SessionTest, OpenTestsItsArgumentsUnderTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(Card{}, &arguments);
    const Texts locked{"LockMutex(1)", "UnlockMutex(1)"};
    EXPECT_EQ(Open(1, 0, nullptr), CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    EXPECT_EQ(TakeCalls(), locked);
    EXPECT_EQ(Open(1, CKF_SERIAL_SESSION, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(TakeCalls(), locked);
    OpenSession(1);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "StartTransaction(101)", "UnlockMutex(1)"}));
}

TEST_F(SessionTest, ClosesAndInfoRunUnderTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(Card{}, &arguments);
    const CK_SESSION_HANDLE session = OpenSession(1);
    script->ForgetCalls();
    InfoOf(session);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "UnlockMutex(1)"}));
    EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "StopTransaction(101)", "UnlockMutex(1)"}));
    EXPECT_EQ(f->C_CloseAllSessions(1), CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "UnlockMutex(1)"}));
}

TEST_F(SessionTest, HandlesCountUpFromOneOverAllSlots)
{
    InitializeWithCard();
    EXPECT_EQ(OpenSession(2), 1U);
    EXPECT_EQ(OpenSession(1), 2U);
    EXPECT_EQ(OpenSession(2), 3U);
}

TEST_F(SessionTest, ReadWriteSessionOpensAndReadsAsReadOnly)
{
    InitializeWithCard();
    CK_SESSION_HANDLE session = 0;
    ASSERT_EQ(Open(2, CKF_SERIAL_SESSION | CKF_RW_SESSION, &session), CKR_OK);
    const CK_SESSION_INFO info = InfoOf(session);
    const CK_SESSION_INFO expected{2, CKS_RO_PUBLIC_SESSION, CKF_SERIAL_SESSION, 0};
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
}

TEST_F(SessionTest, EveryOtherFlagIsIgnored)
{
    InitializeWithCard();
    CK_SESSION_HANDLE session = 0;
    ASSERT_EQ(Open(1, 0xFFFFFFFFU, &session), CKR_OK);
    const CK_FLAGS flags = InfoOf(session).flags;
    EXPECT_EQ(flags, CKF_SERIAL_SESSION);
}

TEST_F(SessionTest, InfoOfALoggedInSessionShowsUserFunctions)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    LoginUser(session);
    const CK_SESSION_INFO info = InfoOf(session);
    const CK_SESSION_INFO expected{1, CKS_RO_USER_FUNCTIONS, CKF_SERIAL_SESSION, 0};
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
}

TEST_F(SessionTest, InfoDoesNotReflectTheSignaturePin)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    ASSERT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    EXPECT_EQ(StateOf(session), CKS_RO_PUBLIC_SESSION);
}

TEST_F(SessionTest, InfoWithNullPointerIsRefusedBeforeTheLockAndTheHandle)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    EXPECT_EQ(f->C_GetSessionInfo(99, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(SessionTest, InfoOfAnUnknownSessionIsRefused)
{
    InitializeWithCard();
    CK_SESSION_INFO info{};
    EXPECT_EQ(f->C_GetSessionInfo(0, &info), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_GetSessionInfo(1, &info), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(SessionTest, FirstSessionOfACardStartsTheTransactionAndTheLastOneStopsIt)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE first = OpenSession(1);
    EXPECT_EQ(TakeCalls(), Texts{"StartTransaction(101)"});
    const CK_SESSION_HANDLE second = OpenSession(1);
    EXPECT_EQ(TakeCalls(), Texts{});
    EXPECT_EQ(f->C_CloseSession(first), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{});
    EXPECT_EQ(f->C_CloseSession(second), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{"StopTransaction(101)"});
}

TEST_F(SessionTest, SessionsOfBothSlotsHoldTheTransactionTogether)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE qualified = OpenSession(1);
    const CK_SESSION_HANDLE ordinary = OpenSession(2);
    script->ForgetCalls();
    EXPECT_EQ(f->C_CloseSession(qualified), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{});
    EXPECT_EQ(f->C_CloseSession(ordinary), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{"StopTransaction(101)"});
}

TEST_F(SessionTest, CardsHoldTheirTransactionsApart)
{
    InitializeWithTwoCards();
    const CK_SESSION_HANDLE onA = OpenSession(1);
    OpenSession(4);
    EXPECT_EQ(TakeCalls(), (Texts{"StartTransaction(101)", "StartTransaction(102)"}));
    EXPECT_EQ(f->C_CloseSession(onA), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{"StopTransaction(101)"});
}

TEST_F(SessionTest, TransactionThatTheCardRefusedStillCountsAsHeld)
{
    InitializeWithCard();
    script->Next("StartTransaction", {.status = anyOtherStatus});
    script->Next("StopTransaction", {.status = anyOtherStatus});
    const CK_SESSION_HANDLE first = OpenSession(1);
    const CK_SESSION_HANDLE second = OpenSession(1);
    EXPECT_EQ(TakeCalls(), Texts{"StartTransaction(101)"});
    EXPECT_EQ(f->C_CloseSession(first), CKR_OK);
    EXPECT_EQ(f->C_CloseSession(second), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{"StopTransaction(101)"});
    OpenSession(1);
    EXPECT_EQ(TakeCalls(), Texts{"StartTransaction(101)"});
}

TEST_F(SessionTest, ClosingTheLastSessionForgetsTheLogin)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE first = OpenSession(1);
    LoginUser(first);
    EXPECT_EQ(f->C_CloseSession(first), CKR_OK);
    const CK_SESSION_HANDLE second = OpenSession(1);
    EXPECT_EQ(StateOf(second), CKS_RO_PUBLIC_SESSION);
    script->ForgetCalls();
    LoginUser(second);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 1U)
        << "verified again although messaging is active";
}

TEST_F(SessionTest, ClosingOneOfTwoSessionsKeepsTheLogin)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE first = OpenSession(1);
    OpenSession(2);
    LoginUser(first);
    EXPECT_EQ(f->C_CloseSession(first), CKR_OK);
    EXPECT_EQ(StateOf(OpenSession(1)), CKS_RO_USER_FUNCTIONS);
}

TEST_F(SessionTest, SessionOpenedAfterALoginIsLoggedInAtOnce)
{
    InitializeWithCard();
    LoginUser(OpenSession(1));
    EXPECT_EQ(StateOf(OpenSession(1)), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(StateOf(OpenSession(2)), CKS_RO_USER_FUNCTIONS);
}

TEST_F(SessionTest, CloseOfAnUnknownSessionIsRefused)
{
    InitializeWithCard();
    EXPECT_EQ(f->C_CloseSession(0), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_CloseSession(1), CKR_SESSION_HANDLE_INVALID);
    const CK_SESSION_HANDLE session = OpenSession(1);
    EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(f->C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(SessionTest, HandleOfAClosedSessionIsNeverUsedAgain)
{
    InitializeWithCard();
    CK_SESSION_HANDLE last = 0;
    for (int round = 0; round < 5; ++round) {
        last = OpenSession(1);
        EXPECT_EQ(f->C_CloseSession(last), CKR_OK);
    }
    EXPECT_EQ(last, 5U);
    Finalize();
    Initialize();
    EXPECT_EQ(OpenSession(3), 6U);
    CK_SESSION_INFO info{};
    EXPECT_EQ(f->C_GetSessionInfo(5, &info), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(SessionTest, CloseAllClosesTheSessionsOfItsSlotOnly)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE kept = OpenSession(1);
    const CK_SESSION_HANDLE closed = OpenSession(2);
    const CK_SESSION_HANDLE alsoClosed = OpenSession(2);
    LoginUser(kept);
    script->ForgetCalls();
    EXPECT_EQ(f->C_CloseAllSessions(2), CKR_OK);
    EXPECT_EQ(script->Calls(), Texts{});
    CK_SESSION_INFO info{};
    EXPECT_EQ(f->C_GetSessionInfo(closed, &info), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_GetSessionInfo(alsoClosed, &info), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(StateOf(kept), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(StateOf(OpenSession(2)), CKS_RO_USER_FUNCTIONS) << "the card stays logged in";
}

TEST_F(SessionTest, CloseAllOfTheOnlySlotInUseStopsTheTransactionOnce)
{
    InitializeWithCard();
    LoginUser(OpenSession(1));
    OpenSession(1);
    OpenSession(1);
    script->ForgetCalls();
    EXPECT_EQ(f->C_CloseAllSessions(1), CKR_OK);
    EXPECT_EQ(script->Calls(), Texts{"StopTransaction(101)"});
    EXPECT_EQ(StateOf(OpenSession(1)), CKS_RO_PUBLIC_SESSION) << "the login is forgotten";
}

TEST_F(SessionTest, CloseAllOfASlotWithoutSessionsLeavesLoginAndTransactionAlone)
{
    InitializeWithCard();
    EXPECT_EQ(f->C_CloseAllSessions(1), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{});
    LoginUser(OpenSession(1));
    script->ForgetCalls();
    EXPECT_EQ(f->C_CloseAllSessions(2), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{});
    EXPECT_EQ(StateOf(OpenSession(2)), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(TakeCalls(), Texts{}) << "the transaction was still held";
}

TEST_F(SessionTest, CloseAllOfAnUnknownSlotAnswersSessionHandleInvalid)
{
    InitializeWithCard();
    EXPECT_EQ(f->C_CloseAllSessions(0), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_CloseAllSessions(3), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(SessionTest, FunctionsOfACardThatHasLeftAnswerByHandleOrSlot)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    script->RemoveCard(readerA);
    ProcessEvents();
    CK_SESSION_INFO info{};
    CK_SESSION_HANDLE another = 0;
    EXPECT_EQ(f->C_GetSessionInfo(session, &info), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_CloseAllSessions(1), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(Open(1, CKF_SERIAL_SESSION, &another), CKR_SLOT_ID_INVALID);
}

TEST_F(SessionTest, OpenAfterALogoutStartsTheTransactionAgain)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    LoginUser(session);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    script->ForgetCalls();
    OpenSession(1);
    EXPECT_EQ(script->Calls(), Texts{"StartTransaction(101)"});
}

TEST_F(SessionTest, OpenLogsTheNewSessionAndTheNoteOfAHeldTransaction)
{
    LogCapture log(script);
    InitializeWithCard();
    log.Forget();
    OpenSession(1);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_OpenSession"), "DBG InternalCache::AddSession: New session added",
                     "INFO C_OpenSession: Session opened VERB:slotID 1 session handle 0x1",
                     LeavingLine("C_OpenSession", "0 CKR_OK")}));
    OpenSession(2);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_OpenSession"), "DBG InternalCache::AddSession: New session added",
                     "DBG C_OpenSession: Cannot open new transaction, another transaction already active",
                     "INFO C_OpenSession: Session opened VERB:slotID 2 session handle 0x2",
                     LeavingLine("C_OpenSession", "0 CKR_OK")}));
}

TEST_F(SessionTest, OpenLogsItsRefusals)
{
    LogCapture log(script);
    InitializeWithCard();
    log.Forget();
    CK_SESSION_HANDLE session = 0;
    Open(1, 0, &session);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_OpenSession"),
                                 LeavingLine("C_OpenSession", "b4 CKR_SESSION_PARALLEL_NOT_SUPPORTED")}));
    Open(1, CKF_SERIAL_SESSION, nullptr);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_OpenSession"), LeavingLine("C_OpenSession", "7 CKR_ARGUMENTS_BAD")}));
    Open(4000000000U, CKF_SERIAL_SESSION, &session);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_OpenSession"),
                     "ERR C_OpenSession: Cannot open session, invalid slot VERB:slotID 4000000000",
                     LeavingLine("C_OpenSession", "3 CKR_SLOT_ID_INVALID")}));
}

TEST_F(SessionTest, CloseLogsTheClosedSession)
{
    LogCapture log(script);
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    log.Forget();
    f->C_CloseSession(session);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_CloseSession"), "INFO C_CloseSession: Session closed VERB: handle 0x1",
                     LeavingLine("C_CloseSession", "0 CKR_OK")}));
    f->C_CloseSession(session);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_CloseSession"),
                                 LeavingLine("C_CloseSession", "b3 CKR_SESSION_HANDLE_INVALID")}));
}

TEST_F(SessionTest, CloseOfTheLastSessionAfterALogoutNotesTheMissingTransaction)
{
    LogCapture log(script);
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    LoginUser(session);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    script->ForgetCalls();
    log.Forget();
    EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_CloseSession"), "INFO C_CloseSession: Session closed VERB: handle 0x1",
                     "DBG C_CloseSession: " + noTransactionNote, LeavingLine("C_CloseSession", "0 CKR_OK")}));
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(SessionTest, CloseAllLogsEachSessionAndChecksForTheLastOneAfterEach)
{
    LogCapture log(script);
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    OpenSession(1);
    LoginUser(session);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    log.Forget();
    EXPECT_EQ(f->C_CloseAllSessions(1), CKR_OK);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_CloseAllSessions"),
                                 "INFO C_CloseAllSessions: Session closed VERB: handle 0x1",
                                 "INFO C_CloseAllSessions: Session closed VERB: handle 0x2",
                                 "DBG C_CloseAllSessions: " + noTransactionNote,
                                 LeavingLine("C_CloseAllSessions", "0 CKR_OK")}));
    EXPECT_EQ(f->C_CloseAllSessions(9), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_CloseAllSessions"),
                                 LeavingLine("C_CloseAllSessions", "b3 CKR_SESSION_HANDLE_INVALID")}));
}

TEST_F(SessionTest, InfoLogsTheSessionOrItsAbsence)
{
    LogCapture log(script);
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    log.Forget();
    CK_SESSION_INFO info{};
    f->C_GetSessionInfo(session, &info);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_GetSessionInfo"),
                                 "INFO C_GetSessionInfo: Retrieved session info, session handle 0x1",
                                 LeavingLine("C_GetSessionInfo", "0 CKR_OK")}));
    f->C_GetSessionInfo(0xABCDEF01U, &info);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_GetSessionInfo"),
                     "ERR C_GetSessionInfo: Cannot retrieve session info, session handle 0xabcdef01 invalid",
                     LeavingLine("C_GetSessionInfo", "b3 CKR_SESSION_HANDLE_INVALID")}));
    f->C_GetSessionInfo(session, nullptr);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_GetSessionInfo"),
                                 LeavingLine("C_GetSessionInfo", "7 CKR_ARGUMENTS_BAD")}));
}

} // namespace
} // namespace blackbox
