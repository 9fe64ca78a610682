// Cards that leave, or come, before and during a signature. The records that a running call holds live until
// it is done with them, so the card session is closed once, and not before the call has come back.
#include "tests/blackbox/sign_helpers.h"

namespace blackbox {
namespace {

class SignCardRemovalTest : public SigningTest
{
protected:
    // Runs inside a card call: the card leaves, and the library has worked the event off before this returns.
    std::function<void()> CardLeaves(const char16_t* reader = readerA)
    {
        return [this, reader] {
            script->RemoveCard(reader);
            ProcessEvents();
            script->Note("the card has left");
        };
    }

    // A session whose card leaves while it shows the keyboard for the next signature, with this answer
    // otherwise.
    CK_SESSION_HANDLE StartSigningWithCardLeaving(Answer answer = {})
    {
        const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
        EXPECT_EQ(SignInit(session), CKR_OK);
        answer.hook = CardLeaves();
        script->Next("QES_VerifyPin", std::move(answer));
        return session;
    }

    // Two cards, the keys on the first one; a session on the second one's slot of the same family.
    CK_SESSION_HANDLE StartWithKeyOnAnotherCard(CK_SLOT_ID slot)
    {
        InitializeWithTwoCards(CertifiedCard());
        LoginUser(OpenSession(qualifiedSlot));
        const CK_SESSION_HANDLE session = OpenSession(slot);
        script->ForgetCalls();
        return session;
    }

    const Texts closing{"the card has left", "StopTransaction(101)", "CloseSession(101)"};
};

TEST_F(SignCardRemovalTest, CardRemovedDuringPinEntryFailsTheSignature)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartSigningWithCardLeaving();
    log.Forget();
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(log.TakeOf("SignManager::Sign"),
              Texts{LeavingLine("SignManager::Sign", "b3 CKR_SESSION_HANDLE_INVALID")});
    EXPECT_EQ(TakeCalls(), Texts{openKeyboard} + closing);
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_SESSION_HANDLE_INVALID));
    EXPECT_EQ(SignInit(session), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(SignCardRemovalTest, LinesOfThatFailureAreThoseOfAnyOther)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartSigningWithCardLeaving();
    log.Forget();
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(log.TakeOf("C_Sign"),
              Framed("C_Sign",
                     Texts{"DBG C_Sign: SignManager isLogged is set to false"} + KeyboardLines() +
                         Texts{"DBG C_Sign: signManager.isLogged set to true",
                               "DBG C_Sign: SignManager going to sign data",
                               "DBG C_Sign: signManager.isLogged set to false"},
                     "6 CKR_FUNCTION_FAILED"));
}

TEST_F(SignCardRemovalTest, CardRemovedDuringPinEntryKeepsTheResultOfACancelOrRefusal)
{
    const CK_SESSION_HANDLE session = StartSigningWithCardLeaving({.status = userInputError});
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_FUNCTION_CANCELED));
    EXPECT_EQ(TakeCalls(), Texts{openKeyboard} + closing);
}

TEST_F(SignCardRemovalTest, CardRemovedDuringPinEntryKeepsTheResultOfTheStateOfTheCode)
{
    const CK_SESSION_HANDLE session = StartSigningWithCardLeaving({.verify = NotVerified(3)});
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_PIN_LOCKED));
    EXPECT_EQ(TakeCalls(), Texts{openKeyboard} + closing);
}

TEST_F(SignCardRemovalTest, KeyboardOpensAgainOnTheCardSessionThatIsStillHeld)
{
    const CK_SESSION_HANDLE session = StartSigningWithCardLeaving({.status = incorrectCode});
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, "the card has left", openKeyboard, "StopTransaction(101)",
                                  "CloseSession(101)"}));
    EXPECT_EQ(script->Violations(), Texts{}) << "the session was open until the end";
}

TEST_F(SignCardRemovalTest, CardPutBackDuringPinEntryIsAnotherCard)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->Next("QES_VerifyPin", {.hook = [this] {
                     script->RemoveCard(readerA);
                     script->InsertCard(readerA, CertifiedCard());
                     ProcessEvents();
                 }});
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(script->CallsOf("QES_SignData").size(), 0U);
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{3, 4}));
    const CK_SESSION_HANDLE next = OpenSession(3);
    LoginUser(next);
    EXPECT_EQ(InitAndSign(next, digestInfo, firstPrivateKey + 2), SignedByDefault());
}

TEST_F(SignCardRemovalTest, CardRemovedDuringTheSignatureStillReturnsTheSignature)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    GivePin(session);
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->Next("QES_SignData", {.hook = CardLeaves(), .output = Counting(100)});
    EXPECT_EQ(Sign(session, digestInfo), Signed(Counting(100)));
    EXPECT_EQ(TakeCalls(), Texts{SignCall("QES", hash)} + closing);
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_SESSION_HANDLE_INVALID));
}

TEST_F(SignCardRemovalTest, CardRemovedDuringTheSignatureWithAnErrorFailsTheSignature)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    ASSERT_EQ(SignInit(session, firstPrivateKey + 1), CKR_OK);
    script->Next("ES_SignData", {.status = anyOtherStatus, .hook = CardLeaves()});
    EXPECT_EQ(Sign(session, Counting(5)), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", Counting(5))} + closing);
}

TEST_F(SignCardRemovalTest, CardRemovedBetweenInitAndSignClosesTheSession)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->RemoveCard(readerA);
    ProcessEvents();
    CK_ULONG length = 0;
    EXPECT_EQ(AskLength(session, length), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_SESSION_HANDLE_INVALID));
    EXPECT_EQ(script->CallsOf("QES_VerifyPin").size(), 0U);
}

TEST_F(SignCardRemovalTest, KeyThatLeftIsMissedBehindTheKeyboard)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartWithKeyOnAnotherCard(3);
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->RemoveCard(readerA);
    ProcessEvents();
    script->ForgetCalls();
    CK_ULONG length = 0;
    EXPECT_EQ(AskLength(session, length), CKR_OK);
    EXPECT_EQ(length, 128U) << "the key is not looked up for its length";
    log.Forget();
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(log.TakeOf("SignManager::Sign"),
              Texts{LeavingLine("SignManager::Sign", "60 CKR_KEY_HANDLE_INVALID")});
    EXPECT_EQ(TakeCalls(), Texts{"QES_VerifyPin(102, null, null, 0, 2, 0)"});
    ExpectIdle(session);
    EXPECT_EQ(SignInit(session), CKR_KEY_HANDLE_INVALID);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK) << "the PIN was used up";
}

TEST_F(SignCardRemovalTest, KeyThatLeavesAtTheKeyboardIsMissedToo)
{
    const CK_SESSION_HANDLE session = StartWithKeyOnAnotherCard(3);
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->Next("QES_VerifyPin", {.hook = CardLeaves()});
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(script->CallsOf("QES_SignData").size(), 0U);
    ExpectIdle(session);
}

TEST_F(SignCardRemovalTest, KeyRemovedDuringTheSignatureDoesNotFailIt)
{
    const CK_SESSION_HANDLE session = StartWithKeyOnAnotherCard(4);
    ASSERT_EQ(SignInit(session, firstPrivateKey + 1), CKR_OK);
    script->Next("ES_SignData", {.hook = CardLeaves()});
    EXPECT_EQ(Sign(session, Counting(5)), SignedByDefault());
    EXPECT_EQ(TakeCalls(), (Texts{"ES_SignData(102, 0102030405, 128, 0)", "StopTransaction(101)",
                                  "CloseSession(101)", "the card has left"}))
        << "nothing of the other card was held";
}

TEST_F(SignCardRemovalTest, InsertingAndRemovingAnotherCardChangesNothing)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->Next("QES_VerifyPin", {.hook = [this] {
                     script->InsertCard(readerB, Card{});
                     script->RemoveCard(readerB);
                     ProcessEvents();
                 }});
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
}

} // namespace
} // namespace blackbox
