// The three functions of a search: what they find, in which order, and what each leaves behind.
#include "tests/blackbox/object_helpers.h"

#include "tests/support/frame_lines.h"
#include "tests/support/log_capture.h"
#include "tests/support/mutex_callbacks.h"

#include <system_error>

namespace blackbox {
namespace {

using ObjectSearchTest = ObjectsTest;

TEST_F(ObjectSearchTest, FunctionsBeforeTheStartAreRefusedAndTouchNothing)
{
    CK_ULONG count = untouchedLength;
    CK_OBJECT_HANDLE handle = 5;
    EXPECT_EQ(f->C_FindObjectsInit(1, nullptr, 0), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_FindObjects(1, &handle, 1, &count), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_FindObjects(1, nullptr, 0, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_FindObjectsFinal(1), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(count, untouchedLength);
    EXPECT_EQ(handle, 5U);
}

TEST_F(ObjectSearchTest, FunctionsOnAnUnknownSessionAreRefused)
{
    Initialize();
    CK_ULONG count = untouchedLength;
    CK_OBJECT_HANDLE handle = 5;
    EXPECT_EQ(f->C_FindObjectsInit(1, nullptr, 0), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_FindObjects(1, &handle, 1, &count), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(count, 0U) << "cleared before the session is looked for";
    EXPECT_EQ(handle, 5U);
    EXPECT_EQ(f->C_FindObjectsFinal(1), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(ObjectSearchTest, FindWithNullCountIsRefusedBeforeTheLockAndTheSession)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    CK_OBJECT_HANDLE handle = 5;
    EXPECT_EQ(f->C_FindObjects(99, &handle, 1, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(TakeCalls(), Texts{});
    EXPECT_EQ(handle, 5U);
}

TEST_F(ObjectSearchTest, EachFunctionRunsUnderTheLockAndLeavesTheCardAlone)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(CertifiedCard(), &arguments);
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    LoginUser(session);
    script->ForgetCalls();
    const Texts locked{"LockMutex(1)", "UnlockMutex(1)"};
    EXPECT_EQ(FindInit(session), CKR_OK);
    EXPECT_EQ(TakeCalls(), locked);
    EXPECT_EQ(FindNext(session).size(), 2U);
    EXPECT_EQ(TakeCalls(), locked);
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_OK);
    EXPECT_EQ(TakeCalls(), locked);
}

TEST_F(ObjectSearchTest, FindLogsItsSessionBeforeItTakesTheLock)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    CK_ULONG count = untouchedLength;
    script->Next("QES_VerifyPin", {.hook = [&] {
                     log.Forget();
                     EXPECT_THROW(f->C_FindObjects(session, nullptr, 0, &count), std::system_error);
                     EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_FindObjects"),
                                                  "DBG C_FindObjects: Find object in session handle 0x1"}));
                 }});
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    EXPECT_EQ(count, untouchedLength) << "cleared only under the lock";
}

TEST_F(ObjectSearchTest, BeforeAnyLoginASearchFindsNothingAndIsNoFailure)
{
    LogCapture log(script);
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    script->ForgetCalls();
    EXPECT_EQ(FindInit(session), CKR_OK);
    log.Forget();
    EXPECT_EQ(FindNext(session), Handles{});
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_FindObjects"), "DBG C_FindObjects: Find object in session handle 0x1",
                     "DBG C_FindObjects: Session is not logged", LeavingLine("C_FindObjects", "0 CKR_OK")}));
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(ObjectSearchTest, SearchArmedBeforeTheLoginRunsAfterIt)
{
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    Template filter;
    filter.Number(CKA_CLASS, CKO_PRIVATE_KEY);
    EXPECT_EQ(f->C_FindObjectsInit(session, filter.Records(), filter.Count()), CKR_OK);
    EXPECT_EQ(FindNext(session), Handles{});
    LoginUser(session);
    EXPECT_EQ(FindInit(session), CKR_OPERATION_ACTIVE) << "the search stayed armed";
    EXPECT_EQ(FindNext(session), Handles{firstPrivateKey});
}

TEST_F(ObjectSearchTest, EmptyTemplateListsTheSlotsObjectsInTheOrderTheyWereMade)
{
    Card card = CardWithQualifiedKeys({1, 2});
    card.es.push_back(TestCertifiedKey(1, 1, "Ordinary"));
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card));
    const Handles expected{firstCertificate, firstCertificate + 1, firstPrivateKey, firstPrivateKey + 1};
    EXPECT_EQ(FindAll(session), expected);
    EXPECT_EQ(CreatePublicKey(session), firstPublicKey);
    EXPECT_EQ(FindAll(session), (Handles{firstCertificate, firstCertificate + 1, firstPrivateKey,
                                         firstPrivateKey + 1, firstPublicKey}));
}

TEST_F(ObjectSearchTest, PublicKeyMadeBeforeTheLoginComesFirstAndKeepsTheCardsObjectsAway)
{
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    const CK_OBJECT_HANDLE key = CreatePublicKey(session);
    LoginUser(session);
    // A slot that has an object already gets none from the card at a login.
    EXPECT_EQ(FindAll(session), Handles{key});
    EXPECT_EQ(FindAll(OpenSession(ordinarySlot)), (Handles{firstCertificate, firstPrivateKey}));
}

TEST_F(ObjectSearchTest, OnlyObjectsOfTheSessionsSlotAreFound)
{
    const CK_SESSION_HANDLE qualified = StartLoggedIn(CertifiedCard());
    const CK_SESSION_HANDLE ordinary = OpenSession(ordinarySlot);
    EXPECT_EQ(FindAll(qualified), (Handles{firstCertificate, firstPrivateKey}));
    EXPECT_EQ(FindAll(ordinary), (Handles{firstCertificate + 1, firstPrivateKey + 1}));
}

TEST_F(ObjectSearchTest, EverySessionOfTheSlotFindsTheSameObjectsWithASearchOfItsOwn)
{
    const CK_SESSION_HANDLE first = StartLoggedIn(CertifiedCard());
    const CK_SESSION_HANDLE second = OpenSession(qualifiedSlot);
    EXPECT_EQ(FindInit(first), CKR_OK);
    EXPECT_EQ(FindInit(second), CKR_OK);
    EXPECT_EQ(FindNext(first, 1), Handles{firstCertificate});
    EXPECT_EQ(FindNext(second), (Handles{firstCertificate, firstPrivateKey}));
    EXPECT_EQ(f->C_FindObjectsFinal(second), CKR_OK);
    EXPECT_EQ(FindNext(first, 1), Handles{firstPrivateKey});
}

TEST_F(ObjectSearchTest, OneHandleAtATimeComesInOrderAndThenNone)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    CreatePublicKey(session);
    EXPECT_EQ(FindInit(session), CKR_OK);
    EXPECT_EQ(FindNext(session, 1), Handles{firstCertificate});
    EXPECT_EQ(FindNext(session, 1), Handles{firstPrivateKey});
    EXPECT_EQ(FindNext(session, 1), Handles{firstPublicKey});
    EXPECT_EQ(FindNext(session, 1), Handles{});
    EXPECT_EQ(FindNext(session, 1), Handles{});
}

TEST_F(ObjectSearchTest, ExhaustedSearchIsNotRunAgain)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(FindInit(session), CKR_OK);
    EXPECT_EQ(FindNext(session).size(), 2U);
    CreatePublicKey(session);
    EXPECT_EQ(FindNext(session), Handles{});
}

TEST_F(ObjectSearchTest, ObjectAddedToARunningSearchDoesNotAppear)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(FindInit(session), CKR_OK);
    EXPECT_EQ(FindNext(session, 1), Handles{firstCertificate});
    CreatePublicKey(session);
    EXPECT_EQ(FindNext(session), Handles{firstPrivateKey});
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_OK);
    EXPECT_EQ(FindAll(session).size(), 3U);
}

TEST_F(ObjectSearchTest, RoomForNoHandleRunsTheSearchAndMovesNothing)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(FindInit(session), CKR_OK);
    log.Forget();
    CK_ULONG count = untouchedLength;
    EXPECT_EQ(f->C_FindObjects(session, nullptr, 0, &count), CKR_OK);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_FindObjects"), "DBG C_FindObjects: Find object in session handle 0x1",
                     "DBG C_FindObjects: Going to search objects...", "DBG C_FindObjects: Search objects end",
                     "DBG C_FindObjects: C_FindObjects found objects: 0",
                     LeavingLine("C_FindObjects", "0 CKR_OK")}));
    CreatePublicKey(session); // too late for the search that has run
    EXPECT_EQ(FindNext(session), (Handles{firstCertificate, firstPrivateKey}));
}

TEST_F(ObjectSearchTest, FoundHandlesAreLoggedOneByOne)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(FindInit(session), CKR_OK);
    log.Forget();
    EXPECT_EQ(FindNext(session), (Handles{firstCertificate, firstPrivateKey}));
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_FindObjects"), "DBG C_FindObjects: Find object in session handle 0x1",
                     "DBG C_FindObjects: Going to search objects...", "DBG C_FindObjects: Search objects end",
                     "DBG C_FindObjects: C_FindObjects found objects: 2",
                     "DBG C_FindObjects: C_FindObjects found object with handle: 0x70000001",
                     "DBG C_FindObjects: C_FindObjects found object with handle: 0x30000001",
                     LeavingLine("C_FindObjects", "0 CKR_OK")}));
}

TEST_F(ObjectSearchTest, InitAndFinalLogTheirFrameOnly)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    log.Forget();
    EXPECT_EQ(FindInit(session), CKR_OK);
    EXPECT_EQ(FindInit(session), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_OK);
    EXPECT_EQ(
        log.Take(),
        (Texts{EnteringLine("C_FindObjectsInit"), LeavingLine("C_FindObjectsInit", "0 CKR_OK"),
               EnteringLine("C_FindObjectsInit"), LeavingLine("C_FindObjectsInit", "90 CKR_OPERATION_ACTIVE"),
               EnteringLine("C_FindObjectsFinal"), LeavingLine("C_FindObjectsFinal", "0 CKR_OK")}));
}

TEST_F(ObjectSearchTest, SecondInitIsRefusedWhileArmedAndWhileRunning)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(FindInit(session), CKR_OK);
    EXPECT_EQ(FindInit(session), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(FindNext(session, 1), Handles{firstCertificate});
    EXPECT_EQ(FindInit(session), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(FindNext(session), Handles{firstPrivateKey}) << "the refused calls changed nothing";
    EXPECT_EQ(FindInit(session), CKR_OPERATION_ACTIVE) << "also when the handles are exhausted";
}

TEST_F(ObjectSearchTest, RefusedInitKeepsTheTemplateOfTheRunningSearch)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template certificates;
    certificates.Number(CKA_CLASS, CKO_CERTIFICATE);
    Template keys;
    keys.Number(CKA_CLASS, CKO_PRIVATE_KEY);
    EXPECT_EQ(f->C_FindObjectsInit(session, certificates.Records(), certificates.Count()), CKR_OK);
    EXPECT_EQ(f->C_FindObjectsInit(session, keys.Records(), keys.Count()), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(FindNext(session), Handles{firstCertificate});
}

TEST_F(ObjectSearchTest, FinalTwiceAndWithoutAnInitIsNoFailure)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_OK);
    EXPECT_EQ(FindInit(session), CKR_OK);
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_OK);
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_OK);
    EXPECT_EQ(FindInit(session), CKR_OK);
}

TEST_F(ObjectSearchTest, FindWithoutAnInitListsAllAndDoesNotBecomeActive)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(FindNext(session, 1), Handles{firstCertificate});
    EXPECT_EQ(FindNext(session, 1), Handles{firstPrivateKey});
    EXPECT_EQ(FindNext(session, 1), Handles{});
    EXPECT_EQ(FindInit(session), CKR_OK) << "no search counts as active";
    EXPECT_EQ(FindNext(session), (Handles{firstCertificate, firstPrivateKey})) << "the old results are gone";
}

TEST_F(ObjectSearchTest, FindAfterFinalListsAllWithoutTheOldTemplate)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Number(CKA_CLASS, CKO_PRIVATE_KEY);
    EXPECT_EQ(Find(session, filter), Handles{firstPrivateKey});
    EXPECT_EQ(FindNext(session), (Handles{firstCertificate, firstPrivateKey}));
}

TEST_F(ObjectSearchTest, SearchWithoutAMatchRunsAgainAtEachCall)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Number(CKA_CLASS, CKO_PUBLIC_KEY);
    EXPECT_EQ(f->C_FindObjectsInit(session, filter.Records(), filter.Count()), CKR_OK);
    EXPECT_EQ(FindNext(session), Handles{});
    EXPECT_EQ(FindNext(session), Handles{});
    CreatePublicKey(session);
    EXPECT_EQ(FindNext(session), Handles{firstPublicKey});
}

TEST_F(ObjectSearchTest, LogoutEndsTheSearch)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    Template filter;
    filter.Number(CKA_CLASS, CKO_PRIVATE_KEY);
    EXPECT_EQ(f->C_FindObjectsInit(session, filter.Records(), filter.Count()), CKR_OK);
    EXPECT_EQ(FindNext(session).size(), 1U);
    EXPECT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(FindNext(session), Handles{}) << "not logged in";
    LoginUser(session);
    EXPECT_EQ(FindInit(session), CKR_OK) << "idle again";
    EXPECT_EQ(FindNext(session), (Handles{firstCertificate, firstPrivateKey}));
}

TEST_F(ObjectSearchTest, LogoutOnOneSessionLeavesTheSearchOfAnotherAsItStands)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    const CK_SESSION_HANDLE other = OpenSession(qualifiedSlot);
    EXPECT_EQ(FindInit(other), CKR_OK);
    EXPECT_EQ(FindNext(other, 1), Handles{firstCertificate});
    EXPECT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(FindNext(other, 1), Handles{}) << "not logged in any more";
    EXPECT_EQ(FindInit(other), CKR_OPERATION_ACTIVE);
    LoginUser(session);
    EXPECT_EQ(FindNext(other, 1), Handles{firstPrivateKey}) << "where it stood";
}

TEST_F(ObjectSearchTest, ObjectsStayAfterALogoutAndAreFoundAtTheNextLogin)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(f->C_Logout(session), CKR_OK);
    LoginUser(session);
    EXPECT_EQ(FindAll(session), (Handles{firstCertificate, firstPrivateKey}));
    EXPECT_EQ(script->CallsOf("QES_GetCertificates").size(), 0U) << "the card was not asked again";
}

TEST_F(ObjectSearchTest, PrivateAndPublicObjectsAreHiddenAndShownTogether)
{
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    CreatePublicKey(session);
    EXPECT_EQ(FindAll(session), Handles{}) << "CKA_PRIVATE 0 does not show it";
    LoginUser(session);
    EXPECT_EQ(FindAll(session), Handles{firstPublicKey});
}

TEST_F(ObjectSearchTest, SearchOfARemovedCardIsGone)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(FindInit(session), CKR_OK);
    EXPECT_EQ(FindNext(session, 1), Handles{firstCertificate});
    script->RemoveCard(readerA);
    ProcessEvents();
    CK_ULONG count = untouchedLength;
    CK_OBJECT_HANDLE handle = 0;
    EXPECT_EQ(f->C_FindObjects(session, &handle, 1, &count), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(ObjectSearchTest, HandlesGoOnCountingWhenTheCardComesBack)
{
    StartLoggedIn(CertifiedCard());
    script->RemoveCard(readerA);
    script->InsertCard(readerA, CertifiedCard());
    ProcessEvents();
    const CK_SESSION_HANDLE session = OpenSession(3);
    LoginUser(session);
    EXPECT_EQ(FindAll(session), (Handles{firstCertificate + 2, firstPrivateKey + 2}));
}

} // namespace
} // namespace blackbox
