// Login and logout: which secret goes to the card, what its answer becomes, and what the library then
// believes.
#include "tests/support/black_box_test.h"
#include "tests/support/mutex_callbacks.h"
#include "tests/support/test_certificates.h"

#include <array>
#include <cstring>
#include <limits>

namespace blackbox {
namespace {

const std::string verifyBok = "Passwords_VerifyBOK(101, \"123456\", null, 0, 0, 0)";
const std::string verifyPin = "QES_VerifyPin(101, \"123456\", null, 0, 2, 0)";
const Texts readCertificates{"QES_GetCertificates(101)", "ES_GetCertificates(101)"};

VerifyResult Result(uint32_t status, uint8_t verified)
{
    VerifyResult result{};
    result.status = status;
    result.verified = verified;
    return result;
}

class LoginTest : public BlackBoxTest
{
protected:
    // One card with a certificate in each slot, and one session on each of its slots.
    void StartWithTwoSessions()
    {
        InitializeWithCard(CertifiedCard());
        qualified = OpenSession(1);
        ordinary = OpenSession(2);
        script->ForgetCalls();
    }

    // The same, logged in by the first of them.
    void StartLoggedIn()
    {
        StartWithTwoSessions();
        LoginUser(qualified);
    }

    // The same, logged out again.
    void StartAndLogOut()
    {
        StartLoggedIn();
        ASSERT_EQ(f->C_Logout(qualified), CKR_OK);
        script->ForgetCalls();
    }

    void BreakChannel()
    {
        script->ChangeCard(readerA, [](Card& card) { card.flags &= ~secureMessagingFlag; });
    }

    CK_RV SignInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key)
    {
        CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
        return f->C_SignInit(session, &mechanism, key);
    }

    CK_SESSION_HANDLE qualified = 0;
    CK_SESSION_HANDLE ordinary = 0;
};

TEST_F(LoginTest, UserLoginVerifiesTheBokAndThenReadsTheCertificates)
{
    StartWithTwoSessions();
    EXPECT_EQ(Login(qualified), CKR_OK);
    EXPECT_EQ(script->Calls(), (Texts{verifyBok} + readCertificates));
    EXPECT_EQ(StateOf(qualified), CKS_RO_USER_FUNCTIONS);
}

TEST_F(LoginTest, UserLoginMarksEverySessionOfTheCard)
{
    StartLoggedIn();
    EXPECT_EQ(StateOf(ordinary), CKS_RO_USER_FUNCTIONS);
}

TEST_F(LoginTest, UserLoginLeavesTheSessionsOfAnotherCardAlone)
{
    InitializeWithTwoCards();
    const CK_SESSION_HANDLE onA = OpenSession(1);
    const CK_SESSION_HANDLE onB = OpenSession(3);
    LoginUser(onA);
    EXPECT_EQ(StateOf(onB), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(f->C_Logout(onB), CKR_USER_NOT_LOGGED_IN);
}

TEST_F(LoginTest, SecondUserLoginWithALiveChannelIsRefusedWithoutVerifying)
{
    StartLoggedIn();
    script->ForgetCalls();
    EXPECT_EQ(Login(qualified), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(script->Calls(), Texts{"GetSessionFlags(101)"});
}

TEST_F(LoginTest, UserLoginOnASecondSessionMarkedByTheFirstIsRefused)
{
    StartLoggedIn();
    EXPECT_EQ(Login(ordinary), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 1U);
}

TEST_F(LoginTest, UserLoginOnASessionOpenedAfterTheLoginIsRefused)
{
    StartLoggedIn();
    EXPECT_EQ(Login(OpenSession(1)), CKR_USER_ALREADY_LOGGED_IN);
}

TEST_F(LoginTest, ShortCutLooksAtNoPin)
{
    StartLoggedIn();
    auto* nowhere = reinterpret_cast<CK_UTF8CHAR_PTR>(uintptr_t{8});
    EXPECT_EQ(f->C_Login(qualified, CKU_USER, nowhere, 6), CKR_USER_ALREADY_LOGGED_IN);
}

TEST_F(LoginTest, BrokenChannelVerifiesAgain)
{
    StartLoggedIn();
    BreakChannel();
    script->ForgetCalls();
    EXPECT_EQ(Login(qualified), CKR_OK);
    EXPECT_EQ(script->Calls(), (Texts{"GetSessionFlags(101)", verifyBok}));
}

TEST_F(LoginTest, ChannelWhoseFlagsCannotBeReadCountsAsBroken)
{
    StartLoggedIn();
    script->ForgetCalls();
    script->Next("GetSessionFlags", {.status = anyOtherStatus, .outputs = scripted::Outputs::Always});
    EXPECT_EQ(Login(qualified), CKR_OK);
    EXPECT_EQ(script->Calls(), (Texts{"GetSessionFlags(101)", verifyBok}));
}

TEST_F(LoginTest, FailedVerificationOnABrokenChannelKeepsTheSessionsLoggedIn)
{
    StartLoggedIn();
    BreakChannel();
    script->Next("Passwords_VerifyBOK", {.status = incorrectCode});
    EXPECT_EQ(Login(qualified), CKR_PIN_INCORRECT);
    EXPECT_EQ(StateOf(qualified), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(StateOf(ordinary), CKS_RO_USER_FUNCTIONS);
    EXPECT_FALSE(FindAll(qualified).empty());
    EXPECT_EQ(StateOf(OpenSession(1)), CKS_RO_PUBLIC_SESSION)
        << "the card itself does not count as logged in";
    EXPECT_EQ(f->C_Logout(qualified), CKR_OK);
}

TEST_F(LoginTest, UserLoginWhileTheCardIsNotLoggedInVerifiesWhateverTheSessionSays)
{
    StartLoggedIn();
    BreakChannel();
    script->Next("Passwords_VerifyBOK", {.status = incorrectCode});
    ASSERT_EQ(Login(qualified), CKR_PIN_INCORRECT);
    script->ForgetCalls();
    EXPECT_EQ(Login(qualified), CKR_OK);
    EXPECT_EQ(script->Calls(), Texts{verifyBok}) << "the channel is not asked for";
}

TEST_F(LoginTest, LoginAfterALogoutOfAnotherSessionVerifiesAgain)
{
    StartAndLogOut();
    EXPECT_EQ(Login(ordinary), CKR_OK);
    EXPECT_EQ(script->Calls(), (Texts{"StartTransaction(101)", verifyBok}));
}

TEST_F(LoginTest, SecurityOfficerLoginFailsWithoutACardCallAndLeavesTheTransactionStarted)
{
    StartAndLogOut();
    EXPECT_EQ(Login(qualified, CKU_SO), CKR_FUNCTION_FAILED);
    EXPECT_EQ(TakeCalls(), Texts{"StartTransaction(101)"});
    OpenSession(1);
    EXPECT_EQ(TakeCalls(), Texts{}) << "the transaction is still held";
}

TEST_F(LoginTest, UnknownUserTypesFailWithoutACardCall)
{
    StartWithTwoSessions();
    for (const CK_USER_TYPE user : {CK_USER_TYPE{CKU_SO}, CK_USER_TYPE{3}, CK_USER_TYPE{0xFFFFFFFF}}) {
        EXPECT_EQ(Login(qualified, user), CKR_FUNCTION_FAILED) << user;
    }
    EXPECT_EQ(script->Calls(), Texts{});
    EXPECT_EQ(StateOf(qualified), CKS_RO_PUBLIC_SESSION);
}

TEST_F(LoginTest, ContextLoginNeedsNoUserLoginAndChangesNoLoginMark)
{
    StartWithTwoSessions();
    EXPECT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), CKR_OK);
    EXPECT_EQ(script->Calls(), Texts{verifyPin}) << "and no certificates are read";
    EXPECT_EQ(StateOf(qualified), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(StateOf(OpenSession(1)), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(f->C_Logout(qualified), CKR_USER_NOT_LOGGED_IN);
}

TEST_F(LoginTest, ContextLoginTwiceIsRefusedWithoutVerifying)
{
    StartWithTwoSessions();
    ASSERT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), CKR_OK);
    script->ForgetCalls();
    EXPECT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(LoginTest, ContextLoginBelongsToItsSession)
{
    StartWithTwoSessions();
    ASSERT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), CKR_OK);
    EXPECT_EQ(Login(OpenSession(1), CKU_CONTEXT_SPECIFIC), CKR_OK);
}

TEST_F(LoginTest, ContextLoginOnTheOrdinarySlotVerifiesTheSignaturePinToo)
{
    StartWithTwoSessions();
    EXPECT_EQ(Login(ordinary, CKU_CONTEXT_SPECIFIC), CKR_OK);
    EXPECT_EQ(script->Calls(), Texts{verifyPin});
}

TEST_F(LoginTest, ContextLoginSurvivesALogout)
{
    StartLoggedIn();
    ASSERT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), CKR_OK);
    ASSERT_EQ(f->C_Logout(qualified), CKR_OK);
    EXPECT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), CKR_USER_ALREADY_LOGGED_IN);
}

TEST_F(LoginTest, UserLoginDoesNotTakeTheContextLoginForOne)
{
    StartWithTwoSessions();
    ASSERT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), CKR_OK);
    script->ForgetCalls();
    EXPECT_EQ(Login(qualified), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 1U);
}

class LoginCodeTest : public LoginTest, public ::testing::WithParamInterface<CK_USER_TYPE>
{
protected:
    scripted::CardCall Verification() const
    {
        const bool user = GetParam() == CKU_USER;
        const auto calls = script->CallsOf(user ? "Passwords_VerifyBOK" : "QES_VerifyPin");
        return calls.empty() ? scripted::CardCall{} : calls.back();
    }
};

TEST_P(LoginCodeTest, NullPinOfAnyLengthAsksTheCardSideForTheCode)
{
    StartWithTwoSessions();
    EXPECT_EQ(f->C_Login(qualified, GetParam(), nullptr, 4), CKR_OK);
    EXPECT_EQ(Verification().code, std::nullopt);
    EXPECT_NE(Verification().function, "");
}

TEST_P(LoginCodeTest, PinOfLengthZeroAsksTheCardSideForTheCode)
{
    StartWithTwoSessions();
    std::array<CK_UTF8CHAR, 4> pin{'1', '2', '3', '4'};
    EXPECT_EQ(f->C_Login(qualified, GetParam(), pin.data(), 0), CKR_OK);
    EXPECT_EQ(Verification().code, std::nullopt);
    EXPECT_NE(Verification().function, "");
}

TEST_P(LoginCodeTest, PinOfAnyLengthAndContentGoesToTheCardAsItStands)
{
    StartWithTwoSessions();
    for (const std::string& pin : {std::string("1"), std::string("12345678901234567890"),
                                   std::string("p\xC5\x99\xFF"), std::string(5000, '7')}) {
        script->Next(GetParam() == CKU_USER ? "Passwords_VerifyBOK" : "QES_VerifyPin",
                     {.status = incorrectCode});
        EXPECT_EQ(Login(qualified, GetParam(), pin), CKR_PIN_INCORRECT);
        EXPECT_EQ(Verification().code, pin);
    }
}

TEST_P(LoginCodeTest, PinIsTakenInItsLengthAndNoFurther)
{
    StartWithTwoSessions();
    std::array<CK_UTF8CHAR, 8> pin{'1', '2', '3', '4', '5', '6', '7', '8'};
    EXPECT_EQ(f->C_Login(qualified, GetParam(), pin.data(), 4), CKR_OK);
    EXPECT_EQ(Verification().code, "1234");
    EXPECT_EQ(pin, (std::array<CK_UTF8CHAR, 8>{'1', '2', '3', '4', '5', '6', '7', '8'}))
        << "the caller's stays";
}

TEST_P(LoginCodeTest, VerifyResultIsClearButForItsSecondField)
{
    StartWithTwoSessions();
    ASSERT_EQ(Login(qualified, GetParam()), CKR_OK);
    const VerifyResult result = Verification().verifyResult;
    VerifyResult expected{};
    expected.unread4 = -1;
    EXPECT_EQ(std::memcmp(&result, &expected, sizeof result), 0);
}

TEST_P(LoginCodeTest, VerifyRunsInsideTheLockAndTheTransaction)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(Card{}, &arguments);
    const CK_SESSION_HANDLE session = OpenSession(1);
    bool locked = false;
    script->Next(GetParam() == CKU_USER ? "Passwords_VerifyBOK" : "QES_VerifyPin",
                 {.hook = [&] { locked = IsAnyMutexLocked(); }});
    ASSERT_EQ(Login(session, GetParam()), CKR_OK);
    EXPECT_TRUE(locked);
    const std::vector<scripted::LedgerEntry> ledger = script->Ledger();
    EXPECT_EQ(ledger.front().transactionStarts, ledger.front().transactionStops + 1);
}

INSTANTIATE_TEST_SUITE_P(Users, LoginCodeTest, ::testing::Values(CKU_USER, CKU_CONTEXT_SPECIFIC),
                         [](const auto& information) {
                             return information.param == CKU_USER ? std::string("User")
                                                                  : std::string("Context");
                         });

struct Judgement
{
    CardStatus returned;
    uint32_t status;
    uint8_t verified;
    CK_RV result;
};

// Every return value and every state of the code that is told apart, with neighbours of each.
const std::vector<Judgement> judgements{{0, 0, 1, CKR_OK},
                                        {0, 3, 1, CKR_OK},
                                        {invalidCodeState, 0, 1, CKR_OK},
                                        {invalidCodeState, 5, 1, CKR_OK},
                                        {incorrectCode, 0, 0, CKR_PIN_INCORRECT},
                                        {incorrectCode, 3, 0, CKR_PIN_INCORRECT},
                                        {incorrectCode, 0, 1, CKR_PIN_INCORRECT},
                                        {userInputError, 0, 0, CKR_FUNCTION_CANCELED},
                                        {userInputError, 3, 1, CKR_FUNCTION_CANCELED},
                                        {1, 0, 1, CKR_FUNCTION_FAILED},
                                        {14, 0, 1, CKR_FUNCTION_FAILED},
                                        {16, 0, 1, CKR_FUNCTION_FAILED},
                                        {19, 3, 0, CKR_FUNCTION_FAILED},
                                        {31, 0, 1, CKR_FUNCTION_FAILED},
                                        {64, 0, 1, CKR_FUNCTION_FAILED},
                                        {-1, 0, 1, CKR_FUNCTION_FAILED},
                                        {std::numeric_limits<CardStatus>::min(), 0, 1, CKR_FUNCTION_FAILED},
                                        {0x100, 0, 1, CKR_FUNCTION_FAILED},
                                        {0, 0, 0, CKR_FUNCTION_FAILED},
                                        {0, 1, 0, CKR_USER_PIN_NOT_INITIALIZED},
                                        {0, 2, 0, CKR_FUNCTION_FAILED},
                                        {0, 3, 0, CKR_PIN_LOCKED},
                                        {0, 4, 0, CKR_USER_PIN_NOT_INITIALIZED},
                                        {0, 5, 0, CKR_PIN_LOCKED},
                                        {0, 6, 0, CKR_FUNCTION_FAILED},
                                        {0, 0xFFFFFFFF, 0, CKR_FUNCTION_FAILED},
                                        {invalidCodeState, 0, 0, CKR_FUNCTION_FAILED},
                                        {invalidCodeState, 1, 0, CKR_USER_PIN_NOT_INITIALIZED},
                                        {invalidCodeState, 2, 0, CKR_FUNCTION_FAILED},
                                        {invalidCodeState, 3, 0, CKR_PIN_LOCKED},
                                        {invalidCodeState, 4, 0, CKR_USER_PIN_NOT_INITIALIZED},
                                        {invalidCodeState, 5, 0, CKR_PIN_LOCKED},
                                        {0, 3, 2, CKR_PIN_LOCKED},
                                        {0, 0, 255, CKR_FUNCTION_FAILED}};

class LoginJudgementTest : public LoginTest, public ::testing::WithParamInterface<Judgement>
{
protected:
    static Answer Scripted()
    {
        return {.status = GetParam().returned, .verify = Result(GetParam().status, GetParam().verified)};
    }
};

TEST_P(LoginJudgementTest, OfTheBok)
{
    StartWithTwoSessions();
    script->Next("Passwords_VerifyBOK", Scripted());
    EXPECT_EQ(Login(qualified), GetParam().result);
    const bool accepted = GetParam().result == CKR_OK;
    EXPECT_EQ(script->Calls(), accepted ? Texts{verifyBok} + readCertificates : Texts{verifyBok});
    EXPECT_EQ(StateOf(qualified), accepted ? CKS_RO_USER_FUNCTIONS : CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(StateOf(ordinary), accepted ? CKS_RO_USER_FUNCTIONS : CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(StateOf(OpenSession(1)), accepted ? CKS_RO_USER_FUNCTIONS : CKS_RO_PUBLIC_SESSION);
}

TEST_P(LoginJudgementTest, OfTheSignaturePin)
{
    StartWithTwoSessions();
    script->Next("QES_VerifyPin", Scripted());
    EXPECT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), GetParam().result);
    EXPECT_EQ(script->Calls(), Texts{verifyPin});
    const bool accepted = GetParam().result == CKR_OK;
    EXPECT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), accepted ? CKR_USER_ALREADY_LOGGED_IN : CKR_OK);
    EXPECT_EQ(StateOf(qualified), CKS_RO_PUBLIC_SESSION);
}

INSTANTIATE_TEST_SUITE_P(Table, LoginJudgementTest, ::testing::ValuesIn(judgements),
                         [](const auto& information) {
                             const Judgement& judgement = information.param;
                             const std::string returned =
                                 std::to_string(static_cast<uint32_t>(judgement.returned));
                             return "Returned" + returned + "Status" + std::to_string(judgement.status) +
                                    "Verified" + std::to_string(judgement.verified);
                         });

TEST_F(LoginTest, FailedLoginLeavesTheTransactionOpen)
{
    StartAndLogOut();
    script->Next("Passwords_VerifyBOK", {.status = incorrectCode});
    EXPECT_EQ(Login(qualified), CKR_PIN_INCORRECT);
    EXPECT_EQ(TakeCalls(), (Texts{"StartTransaction(101)", verifyBok}));
    EXPECT_EQ(f->C_CloseAllSessions(1), CKR_OK);
    EXPECT_EQ(f->C_CloseAllSessions(2), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{"StopTransaction(101)"});
}

TEST_F(LoginTest, LoginRetriesNothing)
{
    StartWithTwoSessions();
    script->Always("QES_VerifyPin", {.status = incorrectCode});
    EXPECT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), CKR_PIN_INCORRECT);
    EXPECT_EQ(script->Calls(), Texts{verifyPin});
}

TEST_F(LoginTest, FirstLoginMakesObjectsForTheEmptySlotsOfEveryCard)
{
    InitializeWithTwoCards(CertifiedCard(), CertifiedCard());
    const CK_SESSION_HANDLE onB = OpenSession(3);
    script->ForgetCalls();
    LoginUser(onB);
    EXPECT_EQ(TakeCalls(), (Texts{"Passwords_VerifyBOK(102, \"123456\", null, 0, 0, 0)"} + readCertificates +
                            Texts{"QES_GetCertificates(102)", "ES_GetCertificates(102)"}));
    EXPECT_EQ(FindAll(onB), (std::vector<CK_OBJECT_HANDLE>{0x70000003, 0x30000003}));
    const CK_SESSION_HANDLE onA = OpenSession(1);
    script->ForgetCalls();
    LoginUser(onA);
    EXPECT_EQ(TakeCalls(), Texts{verifyBok}) << "its objects are there already";
}

TEST_F(LoginTest, SecondLoginOnACardMakesNoObjects)
{
    StartAndLogOut();
    LoginUser(qualified);
    EXPECT_EQ(script->Calls(), (Texts{"StartTransaction(101)", verifyBok}));
    EXPECT_EQ(FindAll(qualified).size(), 2U);
}

TEST_F(LoginTest, FailureToReadCertificatesDoesNotFailTheLogin)
{
    StartWithTwoSessions();
    script->Next("QES_GetCertificates", {.status = anyOtherStatus});
    script->Next("ES_GetCertificates", {.status = anyOtherStatus});
    EXPECT_EQ(Login(qualified), CKR_OK);
    EXPECT_EQ(FindAll(qualified), std::vector<CK_OBJECT_HANDLE>{});
}

TEST_F(LoginTest, UnknownSessionIsRefusedBeforeEverythingElse)
{
    InitializeWithCard();
    EXPECT_EQ(Login(1), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(Login(1, CKU_SO), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_Logout(1), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(LoginTest, SessionOfACardThatHasLeftIsUnknown)
{
    StartLoggedIn();
    script->RemoveCard(readerA);
    ProcessEvents();
    script->ForgetCalls();
    EXPECT_EQ(Login(qualified), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_Logout(qualified), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(LoginTest, BothFunctionsTestTheSessionUnderTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    EXPECT_EQ(Login(9), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "UnlockMutex(1)"}));
    EXPECT_EQ(f->C_Logout(9), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "UnlockMutex(1)"}));
}

TEST_F(LoginTest, LogoutOfASessionThatIsNotLoggedInIsRefused)
{
    StartWithTwoSessions();
    EXPECT_EQ(f->C_Logout(qualified), CKR_USER_NOT_LOGGED_IN);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(LoginTest, LogoutLogsOutEverySessionOfTheCardAndOnlyEndsTheTransaction)
{
    StartLoggedIn();
    script->ForgetCalls();
    EXPECT_EQ(f->C_Logout(ordinary), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{"StopTransaction(101)"});
    EXPECT_EQ(StateOf(qualified), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(StateOf(ordinary), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(f->C_Logout(qualified), CKR_USER_NOT_LOGGED_IN);
    EXPECT_EQ(TakeCalls(), Texts{});
    EXPECT_EQ(StateOf(OpenSession(1)), CKS_RO_PUBLIC_SESSION);
}

TEST_F(LoginTest, LogoutRefusedOnOneCardLeavesTheLoginOfAnother)
{
    InitializeWithTwoCards();
    const CK_SESSION_HANDLE onA = OpenSession(1);
    const CK_SESSION_HANDLE onB = OpenSession(3);
    LoginUser(onA);
    LoginUser(onB);
    EXPECT_EQ(f->C_Logout(onB), CKR_OK);
    EXPECT_EQ(StateOf(onA), CKS_RO_USER_FUNCTIONS);
}

TEST_F(LoginTest, LogoutKeepsTheObjects)
{
    StartLoggedIn();
    const std::vector<CK_OBJECT_HANDLE> before = FindAll(qualified);
    ASSERT_EQ(f->C_Logout(qualified), CKR_OK);
    EXPECT_EQ(FindAll(qualified), std::vector<CK_OBJECT_HANDLE>{})
        << "hidden from a session that is not logged in";
    LoginUser(qualified);
    EXPECT_EQ(FindAll(qualified), before);
}

TEST_F(LoginTest, LogoutDropsASearchInProgress)
{
    StartLoggedIn();
    ASSERT_EQ(f->C_FindObjectsInit(qualified, nullptr, 0), CKR_OK);
    CK_OBJECT_HANDLE object = 0;
    CK_ULONG count = 0;
    ASSERT_EQ(f->C_FindObjects(qualified, &object, 1, &count), CKR_OK);
    ASSERT_EQ(count, 1U);
    ASSERT_EQ(f->C_Logout(qualified), CKR_OK);
    count = 9;
    EXPECT_EQ(f->C_FindObjects(qualified, &object, 1, &count), CKR_OK);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(f->C_FindObjectsInit(qualified, nullptr, 0), CKR_OK) << "no search is active";
}

TEST_F(LoginTest, LogoutLeavesTheSearchOfAnotherSession)
{
    StartLoggedIn();
    ASSERT_EQ(f->C_FindObjectsInit(ordinary, nullptr, 0), CKR_OK);
    ASSERT_EQ(f->C_Logout(qualified), CKR_OK);
    EXPECT_EQ(f->C_FindObjectsInit(ordinary, nullptr, 0), CKR_OPERATION_ACTIVE);
}

TEST_F(LoginTest, LogoutResetsTheSigningOfItsOwnSessionOnly)
{
    StartLoggedIn();
    const CK_SESSION_HANDLE second = OpenSession(1);
    const CK_OBJECT_HANDLE key = FindAll(qualified).back();
    ASSERT_EQ(SignInit(qualified, key), CKR_OK);
    ASSERT_EQ(SignInit(second, key), CKR_OK);
    ASSERT_EQ(f->C_Logout(qualified), CKR_OK);
    CK_ULONG length = 0;
    EXPECT_EQ(f->C_Sign(qualified, nullptr, 0, nullptr, &length), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Sign(second, nullptr, 0, nullptr, &length), CKR_OK);
    EXPECT_EQ(length, 128U);
    EXPECT_EQ(StateOf(second), CKS_RO_PUBLIC_SESSION);
}

TEST_F(LoginTest, LogoutThenCloseOfTheLastSessionMakesNoFurtherCardCall)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    LoginUser(session);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    script->ForgetCalls();
    EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(LoginTest, CardThatVanishesDuringTheVerificationLetsTheLoginEndOnTheRecordsItHolds)
{
    StartWithTwoSessions();
    script->Next("Passwords_VerifyBOK", {.hook = [&] {
                     script->RemoveCard(readerA);
                     ProcessEvents();
                     script->Note("events processed");
                 }});
    EXPECT_EQ(Login(qualified), CKR_OK);
    // The transaction ends and the card session closes only after the call, and each once.
    EXPECT_EQ(script->Calls(),
              (Texts{verifyBok, "events processed", "StopTransaction(101)", "CloseSession(101)"}));
    CK_SESSION_INFO info{};
    EXPECT_EQ(f->C_GetSessionInfo(qualified, &info), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(Slots(), std::vector<CK_SLOT_ID>{});
}

TEST_F(LoginTest, CardThatVanishesDuringTheSignaturePinLetsTheLoginEndOnTheRecordsItHolds)
{
    StartWithTwoSessions();
    script->Next("QES_VerifyPin", {.hook = [&] {
                     script->RemoveCard(readerA);
                     ProcessEvents();
                 }});
    EXPECT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), CKR_OK);
    EXPECT_EQ(script->Calls(), (Texts{verifyPin, "StopTransaction(101)", "CloseSession(101)"}));
    EXPECT_EQ(Login(qualified, CKU_CONTEXT_SPECIFIC), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(LoginTest, CardThatVanishesDuringARefusedVerificationGivesTheResultOfTheCard)
{
    StartWithTwoSessions();
    script->Next("Passwords_VerifyBOK", {.status = userInputError, .hook = [&] {
                                             script->RemoveCard(readerA);
                                             ProcessEvents();
                                         }});
    EXPECT_EQ(Login(qualified), CKR_FUNCTION_CANCELED);
    EXPECT_EQ(script->Calls(), (Texts{verifyBok, "StopTransaction(101)", "CloseSession(101)"}));
}

} // namespace
} // namespace blackbox
