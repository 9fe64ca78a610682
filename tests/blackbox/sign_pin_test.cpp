// The signature PIN: who is asked for it, what each answer of the keyboard leads to, and how long it counts.
#include "tests/blackbox/sign_helpers.h"

#include <cstring>
#include <system_error>

namespace blackbox {
namespace {

using SignPinTest = SigningTest;

const Texts keyboardOpens{"DBG C_Sign: SignManager isLogged is set to false"};
const std::string loggedInLine = "DBG C_Sign: signManager.isLogged set to true";

bool SameRecord(const VerifyResult& first, const VerifyResult& second)
{
    return std::memcmp(&first, &second, sizeof first) == 0;
}

TEST_F(SignPinTest, KeyboardIsOpenedWithANullCodeAndACleanRecord)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
    const auto calls = script->CallsOf("QES_VerifyPin");
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_TRUE(SameRecord(calls[0].verifyResult, AsPassed()));
    EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, SignCall("QES", hash)}));
}

TEST_F(SignPinTest, KeyboardAndSignatureAreLoggedStepByStep)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    log.Forget();
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(log.Take(), Framed("C_Sign",
                                 keyboardOpens + KeyboardLines() + Texts{loggedInLine} +
                                     QualifiedSignLines(hash) + EndOfSignLines(),
                                 "0 CKR_OK"));
}

TEST_F(SignPinTest, WrongPinBringsTheKeyboardBackUntilItIsRight)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    Texts calls;
    Texts keyboards;
    for (int tries = 0; tries < 20; ++tries) {
        script->Next("QES_VerifyPin", {.status = incorrectCode});
        calls.push_back(openKeyboard);
        keyboards = keyboards + KeyboardLines();
    }
    log.Forget();
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), calls + Texts({openKeyboard, SignCall("QES", hash)}));
    EXPECT_EQ(log.Take(), Framed("C_Sign",
                                 keyboardOpens + keyboards + KeyboardLines() + Texts{loggedInLine} +
                                     QualifiedSignLines(hash) + EndOfSignLines(),
                                 "0 CKR_OK"));
}

TEST_F(SignPinTest, RecordIsSetUpOnceForAllTries)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    VerifyResult left = NotVerified(3);
    left.unread4 = 2;
    left.unread9[5] = 7;
    script->Next("QES_VerifyPin", {.status = incorrectCode, .verify = left});
    script->Next("QES_VerifyPin", {.outputs = scripted::Outputs::Never});
    EXPECT_EQ(InitAndSign(session, digestInfo), Failed(CKR_PIN_LOCKED)) << "by what the first try left";
    const auto calls = script->CallsOf("QES_VerifyPin");
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_TRUE(SameRecord(calls[0].verifyResult, AsPassed()));
    EXPECT_TRUE(SameRecord(calls[1].verifyResult, left));
}

TEST_F(SignPinTest, WrongPinBringsTheKeyboardBackEvenWithTheRecordAccepted)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    script->Next("QES_VerifyPin", {.status = incorrectCode, .verify = Verified()});
    script->Next("QES_VerifyPin", {.status = userInputError});
    EXPECT_EQ(InitAndSign(session, digestInfo), Failed(CKR_FUNCTION_CANCELED));
    EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, openKeyboard}));
}

TEST_F(SignPinTest, CancelLeavesTheOperationActiveAndTheSignatureCanBeRepeated)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->Next("QES_VerifyPin", {.status = userInputError});
    log.Forget();
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_FUNCTION_CANCELED));
    EXPECT_EQ(log.Take(), Framed("C_Sign", keyboardOpens + KeyboardLines(), "50 CKR_FUNCTION_CANCELED"));
    EXPECT_EQ(TakeCalls(), Texts{openKeyboard});
    ExpectActive(session);
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, SignCall("QES", hash)}));
}

TEST_F(SignPinTest, CancelledPinEntryIsReportedBeforeTheRecordIsRead)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    script->Next("QES_VerifyPin", {.status = userInputError, .verify = Verified()});
    EXPECT_EQ(InitAndSign(session, digestInfo), Failed(CKR_FUNCTION_CANCELED));
    script->Next("QES_VerifyPin", {.status = userInputError, .verify = NotVerified(3)});
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_FUNCTION_CANCELED));
}

TEST_F(SignPinTest, EachStateOfTheCodeHasItsResultWhateverTheCallReturned)
{
    struct Row
    {
        uint32_t status;
        CK_RV result;
    };
    const std::vector<Row> rows{
        {0, CKR_TOKEN_NOT_RECOGNIZED}, {1, CKR_USER_PIN_NOT_INITIALIZED}, {2, CKR_PIN_INCORRECT},
        {3, CKR_PIN_LOCKED},           {4, CKR_USER_PIN_NOT_INITIALIZED}, {5, CKR_PIN_LOCKED},
        {6, CKR_PIN_INCORRECT},        {0x100, CKR_PIN_INCORRECT},        {0xFFFFFFFF, CKR_PIN_INCORRECT}};
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    for (const CardStatus returned : {0, invalidCodeState, anyOtherStatus, 1, 83, -1}) {
        for (const Row& row : rows) {
            script->Next("QES_VerifyPin", {.status = returned, .verify = NotVerified(row.status)});
            EXPECT_EQ(Sign(session, digestInfo), Failed(row.result))
                << "returned " << returned << ", status " << row.status;
            EXPECT_EQ(TakeCalls(), Texts{openKeyboard});
            ExpectActive(session);
        }
    }
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
}

TEST_F(SignPinTest, RefusedPinIsLoggedByItsFrameOnly)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->Next("QES_VerifyPin", {.verify = NotVerified(5)});
    log.Forget();
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_PIN_LOCKED));
    EXPECT_EQ(log.Take(), Framed("C_Sign", keyboardOpens + KeyboardLines(), "a4 CKR_PIN_LOCKED"));
}

TEST_F(SignPinTest, AcceptedRecordAuthorisesWhateverStatusTheCallReturned)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    for (const CardStatus returned : {0, invalidCodeState, anyOtherStatus, 1, 83, -1}) {
        VerifyResult accepted = Verified();
        accepted.status = 3;
        script->Next("QES_VerifyPin", {.status = returned, .verify = accepted});
        EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault()) << "returned " << returned;
        EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, SignCall("QES", hash)}));
    }
}

TEST_F(SignPinTest, OnlyTheValueOneInTheRecordAuthorises)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    for (const uint8_t verified : Bytes{2, 0x80, 0xFF}) {
        VerifyResult result{};
        result.verified = verified;
        script->Next("QES_VerifyPin", {.verify = result});
        EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_TOKEN_NOT_RECOGNIZED));
    }
}

TEST_F(SignPinTest, OrdinarySlotOpensNoKeyboard)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    const CK_OBJECT_HANDLE key = firstPrivateKey + 1;
    EXPECT_EQ(InitAndSign(session, Counting(5), key), SignedByDefault());
    EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", Counting(5))});
    GivePin(session);
    ASSERT_EQ(SignInit(session, key), CKR_OK);
    log.Forget();
    EXPECT_EQ(Sign(session, Counting(5)), SignedByDefault());
    EXPECT_EQ(log.Take(), Framed("C_Sign",
                                 Texts{"DBG C_Sign: SignManager isLogged is set to true"} +
                                     OrdinarySignLines() + EndOfSignLines(),
                                 "0 CKR_OK"));
    EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", Counting(5))});
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK) << "the authorisation was used up here too";
}

TEST_F(SignPinTest, LoginForTheContextCountsForOneSignature)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC, "654321"), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{"QES_VerifyPin(101, \"654321\", null, 0, 2, 0)"});
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(TakeCalls(), Texts{});
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), Texts{SignCall("QES", hash)}) << "no keyboard";
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, SignCall("QES", hash)}));
}

TEST_F(SignPinTest, LoginForTheContextBetweenInitAndSignIsTheUsualOrder)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    GivePin(session);
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), Texts{SignCall("QES", hash)});
}

TEST_F(SignPinTest, PinOfTheKeyboardAuthorisesOneSignature)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
    script->ForgetCalls();
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK) << "not already logged in";
    EXPECT_EQ(TakeCalls().size(), 1U);
}

TEST_F(SignPinTest, RefusalByTheCardUsesUpTheAuthorisationAndAsksForNoPin)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    for (const CardStatus status : {incorrectCode, userInputError, anyOtherStatus}) {
        GivePin(session);
        script->Next("QES_SignData", {.status = status});
        EXPECT_EQ(InitAndSign(session, digestInfo), Failed(CKR_FUNCTION_FAILED));
        EXPECT_EQ(TakeCalls(), Texts{SignCall("QES", hash)});
    }
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
}

TEST_F(SignPinTest, SigningBadDataUsesUpTheAuthorisation)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(InitAndSign(session, TextBytes("garbage")), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(TakeCalls(), Texts{openKeyboard}) << "the data is looked at behind the keyboard";
    GivePin(session);
    EXPECT_EQ(InitAndSign(session, DigestInfo(Counting(20))), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
}

TEST_F(SignPinTest, RefusedOrCancelledPinLeavesTheSessionWithoutAuthorisation)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->Next("QES_VerifyPin", {.verify = NotVerified(2)});
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_PIN_INCORRECT));
    script->Next("QES_VerifyPin", {.status = userInputError});
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_FUNCTION_CANCELED));
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    script->ForgetCalls();
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), Texts{SignCall("QES", hash)});
}

TEST_F(SignPinTest, LogoutLeavesTheAuthorisationForTheNextSignature)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    GivePin(session);
    EXPECT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_USER_ALREADY_LOGGED_IN);
    script->ForgetCalls();
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), Texts{SignCall("QES", hash)}) << "no keyboard";
}

TEST_F(SignPinTest, AnswersThatDoNotSignLeaveTheAuthorisation)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    GivePin(session);
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_OPERATION_NOT_INITIALIZED));
    EXPECT_EQ(SignInit(session, firstPrivateKey, CKM_ECDSA), CKR_MECHANISM_INVALID);
    ASSERT_EQ(SignInit(session), CKR_OK);
    ExpectActive(session);
    CK_ULONG length = 0;
    EXPECT_EQ(AskLength(session, length), CKR_OK);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), Texts{SignCall("QES", hash)});
}

TEST_F(SignPinTest, AuthorisationBelongsToOneSession)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    const CK_SESSION_HANDLE other = OpenSession(qualifiedSlot);
    GivePin(session);
    EXPECT_EQ(InitAndSign(other, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, SignCall("QES", hash)}));
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault()) << "the other did not use it up";
    EXPECT_EQ(TakeCalls(), Texts{SignCall("QES", hash)});
}

TEST_F(SignPinTest, LoginForTheContextNeedsNoUserLoginAndMakesNoObjects)
{
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    script->ForgetCalls();
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC, "1234"), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{"QES_VerifyPin(101, \"1234\", null, 0, 2, 0)"});
    EXPECT_EQ(StateOf(session), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(SignInit(session), CKR_KEY_HANDLE_INVALID) << "there is no key yet";
    LoginUser(session);
    script->ForgetCalls();
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), Texts{SignCall("QES", hash)}) << "the PIN still counts";
}

TEST_F(SignPinTest, RefusedLoginForTheContextAuthorisesNothing)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    script->Next("QES_VerifyPin", {.status = incorrectCode});
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_PIN_INCORRECT) << "asked once only";
    script->Next("QES_VerifyPin", {.verify = NotVerified(0)});
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_FUNCTION_FAILED);
    script->Next("QES_VerifyPin", {.verify = NotVerified(2)});
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_FUNCTION_FAILED) << "not as in a signature";
    script->ForgetCalls();
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, SignCall("QES", hash)}));
}

TEST_F(SignPinTest, RepeatedSignatureTakesTheDataOfItsOwnCall)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    for (int tries = 0; tries < 3; ++tries) {
        script->Next("QES_VerifyPin", {.status = userInputError});
        EXPECT_EQ(Sign(session, DigestInfo(Counting(32, 100))), Failed(CKR_FUNCTION_CANCELED));
    }
    script->ForgetCalls();
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, SignCall("QES", hash)}));
}

TEST_F(SignPinTest, OpenKeyboardKeepsEveryOtherCallOut)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    CK_SESSION_INFO info{};
    int outside = 0;
    const auto tryAll = [&] {
        EXPECT_THROW(f->C_GetSessionInfo(session, &info), std::system_error);
        EXPECT_THROW(f->C_SignInit(session, nullptr, 0), std::system_error);
        EXPECT_THROW(f->C_Sign(session, nullptr, 0, nullptr, nullptr), std::system_error);
        ++outside;
    };
    script->Next("QES_VerifyPin", {.hook = tryAll});
    script->Next("QES_SignData", {.hook = tryAll});
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(outside, 2);
    EXPECT_EQ(f->C_GetSessionInfo(session, &info), CKR_OK);
}

} // namespace
} // namespace blackbox
