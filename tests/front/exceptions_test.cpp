// What the library throws, as it does when its card-access library lacks a function, ends at the front: each
// call answers a code, and the next one works.
#include "tests/front/every_call.h"
#include "tests/front/front_test.h"
#include "tests/support/test_certificates.h"

#include <new>
#include <stdexcept>

namespace front_test {
namespace {

scripted::Answer Throwing()
{
    return {.hook = [] { throw std::runtime_error("no such function"); }};
}

class ExceptionsTest : public FrontTest
{
protected:
    CK_RV SignAnew(CK_SESSION_HANDLE session)
    {
        Bytes signature;
        const CK_RV begun = SignInit(session);
        return begun == CKR_OK ? Sign(session, Text("m"), signature) : begun;
    }
};

TEST_F(ExceptionsTest, StartThatFailsAtACardIsUndoneAndMayBeTriedAgain)
{
    script->AddReader(readerA, blackbox::CertifiedCard());
    for (const char* function : {"GetReaderList", "GetTokenInfo"}) {
        script->Next(function, Throwing());
        EXPECT_EQ(f->C_Initialize(nullptr), CKR_FUNCTION_FAILED) << function;
        CK_INFO info{};
        EXPECT_EQ(f->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED) << function;
    }
    Start();
    EXPECT_EQ(Slots().size(), 2U);
}

TEST_F(ExceptionsTest, SlotsOfACardBelongTogetherAfterAStartThatFailed)
{
    script->AddReader(readerA, blackbox::CertifiedCard());
    script->AddReader(readerB, blackbox::CertifiedCard());
    script->Next("GetTokenInfo", Throwing()); // between the ids of a card's two slots
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
    Start();
    const CK_SESSION_HANDLE ofFirst = Open(1);
    ASSERT_EQ(Login(ofFirst), CKR_OK);
    ASSERT_EQ(Login(Open(2)), CKR_OK);
    const auto asked = script->CallsOf("Passwords_VerifyBOK");
    ASSERT_EQ(asked.size(), 2U);
    EXPECT_NE(asked[0].session, asked[1].session) << "each card was asked";
    const CK_SESSION_HANDLE sibling = Open(0);
    ASSERT_EQ(Login(sibling), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 2U) << "the card is open already";
    ASSERT_EQ(f->C_Logout(sibling), CKR_OK);
    EXPECT_EQ(SignAnew(ofFirst), CKR_OK);
}

TEST_F(ExceptionsTest, CallThatAsksACardAboutItselfAnswersAndTheOthersWork)
{
    StartWithCard();
    script->Always("QES_GetKeyInfo", Throwing());
    CK_TOKEN_INFO token{};
    CK_ULONG count = 0;
    CK_MECHANISM_INFO mechanism{};
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(f->C_GetTokenInfo(qualified, &token), CKR_FUNCTION_FAILED);
        EXPECT_EQ(f->C_GetMechanismList(qualified, nullptr, &count), CKR_FUNCTION_FAILED);
        EXPECT_EQ(f->C_GetMechanismInfo(qualified, CKM_SHA256, &mechanism), CKR_FUNCTION_FAILED);
    }
    EXPECT_EQ(Slots().size(), 2U);
    const CK_SESSION_HANDLE session = Open(ordinary);
    EXPECT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(SignAnew(session), CKR_OK);

    script->Always("QES_GetKeyInfo", {});
    EXPECT_EQ(f->C_GetTokenInfo(qualified, &token), CKR_OK);
}

TEST_F(ExceptionsTest, SignatureIsOverAndTheNextOneWorks)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    script->Next("ES_SignData", Throwing());
    EXPECT_EQ(SignAnew(session), CKR_FUNCTION_FAILED);
    EXPECT_EQ(SignAnew(session), CKR_OK);

    script->Next("ES_SignData", Throwing());
    ASSERT_EQ(SignInit(session), CKR_OK);
    Bytes data = Text("m");
    ASSERT_EQ(f->C_SignUpdate(session, data.data(), Length(data)), CKR_OK);
    Bytes signature(128);
    CK_ULONG length = Length(signature);
    EXPECT_EQ(f->C_SignFinal(session, signature.data(), &length), CKR_FUNCTION_FAILED);
    EXPECT_EQ(SignAnew(session), CKR_OK);
}

TEST_F(ExceptionsTest, EachKindOfExceptionHasItsCode)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    script->Next("ES_SignData", {.hook = [] { throw std::bad_alloc(); }});
    EXPECT_EQ(SignAnew(session), CKR_HOST_MEMORY);
    script->Next("ES_SignData", {.hook = [] { throw 7; }});
    EXPECT_EQ(SignAnew(session), CKR_FUNCTION_FAILED);
    EXPECT_EQ(SignAnew(session), CKR_OK);
}

TEST_F(ExceptionsTest, DecryptionIsOverAndTheNextOneWorks)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    Bytes block(128, 1);
    Bytes plain(128);
    CK_ULONG length = Length(plain);
    script->Next("ES_DecryptData", Throwing());
    ASSERT_EQ(f->C_DecryptInit(session, &mechanism, key), CKR_OK);
    EXPECT_EQ(f->C_Decrypt(session, block.data(), Length(block), plain.data(), &length), CKR_FUNCTION_FAILED);
    ASSERT_EQ(f->C_DecryptInit(session, &mechanism, key), CKR_OK);
    EXPECT_EQ(f->C_Decrypt(session, block.data(), Length(block), plain.data(), &length), CKR_OK);
}

TEST_F(ExceptionsTest, LoginThatFailsHalfWayIsUndone)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    for (const char* function : {"StartTransaction", "Passwords_VerifyBOK", "ES_GetCertificates"}) {
        script->Next(function, Throwing());
        EXPECT_EQ(Login(session), CKR_FUNCTION_FAILED) << function;
        EXPECT_EQ(State(session), CKS_RO_PUBLIC_SESSION) << function;
    }
    script->ForgetCalls();
    EXPECT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 1U); // the card asks anew
    EXPECT_EQ(Find(session).size(), 3U);
}

TEST_F(ExceptionsTest, LoginToTheOtherSlotThatFailsLeavesTheFirst)
{
    const CK_SESSION_HANDLE first = StartLoggedIn(ordinary);
    const CK_SESSION_HANDLE second = Open(qualified);
    script->Next("GetSessionFlags", Throwing());
    EXPECT_EQ(Login(second), CKR_FUNCTION_FAILED);
    EXPECT_EQ(State(second), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(SignAnew(first), CKR_OK);
    EXPECT_EQ(Login(second), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 1U);
}

TEST_F(ExceptionsTest, LoginForASignatureThatFailsLeavesTheSignature)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified);
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->Next("QES_VerifyPin", Throwing());
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    Bytes signature;
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    EXPECT_EQ(script->CallsOf("QES_VerifyPin").size(), 2U);
}

TEST_F(ExceptionsTest, LogoutThatFailsStillLogsOut)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    script->Next("StopTransaction", Throwing());
    EXPECT_EQ(f->C_Logout(session), CKR_FUNCTION_FAILED);
    EXPECT_EQ(State(session), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 2U);
}

TEST_F(ExceptionsTest, SessionWhoseTransactionDoesNotStopIsClosed)
{
    CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    ASSERT_EQ(Login(session), CKR_OK);
    script->Always("StopTransaction", Throwing());
    EXPECT_EQ(f->C_CloseSession(session), CKR_FUNCTION_FAILED); // the logout that it brings
    EXPECT_EQ(f->C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);
    script->Always("StopTransaction", {});
    session = Open(ordinary);
    EXPECT_EQ(State(session), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(f->C_CloseAllSessions(ordinary), CKR_OK);
}

TEST_F(ExceptionsTest, LogoutThatFailsLeavesNoTransactionAfterTheLastSession)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    script->Next("StopTransaction", Throwing());
    script->ForgetCalls();
    EXPECT_EQ(f->C_CloseSession(session), CKR_FUNCTION_FAILED);
    EXPECT_EQ(script->CallsOf("StopTransaction").size(), 2U);
}

TEST_F(ExceptionsTest, SessionThatDidNotOpenLeavesNoTransaction)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    script->Next("StartTransaction", Throwing());
    EXPECT_EQ(Login(session), CKR_FUNCTION_FAILED);
    script->ForgetCalls();
    script->Next("Passwords_VerifyBOK", {.status = eIncorrectCode});
    EXPECT_EQ(Login(session), CKR_PIN_INCORRECT);
    EXPECT_EQ(script->CallsOf("StopTransaction").size(), 1U);
    EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(script->CallsOf("StopTransaction").size(), 1U);
}

TEST_F(ExceptionsTest, CardWhoseTransactionDidNotStopOpensAgain)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    script->Next("Passwords_VerifyBOK", {.status = eIncorrectCode});
    script->Next("StopTransaction", Throwing());
    ASSERT_EQ(Login(session), CKR_PIN_INCORRECT);
    EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(Login(Open(ordinary)), CKR_OK);
}

} // namespace
} // namespace front_test
