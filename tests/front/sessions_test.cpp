#include "tests/front/every_call.h"
#include "tests/front/front_test.h"

namespace front_test {
namespace {

using SessionsTest = FrontTest;

CK_FLAGS SessionFlags(CK_FUNCTION_LIST* f, CK_SESSION_HANDLE session)
{
    CK_SESSION_INFO info{};
    EXPECT_EQ(f->C_GetSessionInfo(session, &info), CKR_OK);
    return info.flags;
}

TEST_F(SessionsTest, ReadWriteSessionIsReportedAsSuch)
{
    StartWithCard();
    const CK_SESSION_HANDLE reading = Open(qualified);
    const CK_SESSION_HANDLE writing = Open(qualified, CKF_SERIAL_SESSION | CKF_RW_SESSION);
    EXPECT_EQ(SessionFlags(f, reading), CKF_SERIAL_SESSION);
    EXPECT_EQ(SessionFlags(f, writing), CKF_SERIAL_SESSION | CKF_RW_SESSION);
    EXPECT_EQ(State(writing), CKS_RW_PUBLIC_SESSION);
    ASSERT_EQ(Login(reading), CKR_OK);
    EXPECT_EQ(State(reading), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(State(writing), CKS_RW_USER_FUNCTIONS);
}

TEST_F(SessionsTest, ClosedSessionIsNoneForEveryCall)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(f->C_CloseSession(session), CKR_OK);
    for (const NamedCall& call : EveryCallWithASession(f, session)) {
        EXPECT_EQ(call.make(), CKR_SESSION_HANDLE_INVALID) << call.name;
    }
}

TEST_F(SessionsTest, ParallelSessionIsRefused)
{
    StartWithCard();
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(f->C_OpenSession(qualified, 0, nullptr, nullptr, &session), CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    EXPECT_EQ(f->C_OpenSession(qualified, CKF_SERIAL_SESSION, nullptr, nullptr, nullptr), CKR_ARGUMENTS_BAD);
}

TEST_F(SessionsTest, CodeReachesTheCardAsGiven)
{
    StartWithCard();
    ASSERT_EQ(Login(Open(qualified), CKU_USER, "987654"), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").at(0).code, "987654");
}

TEST_F(SessionsTest, SecurityOfficerIsAUserWhomTheCardDoesNotKnow)
{
    StartWithCard();
    const CK_SESSION_HANDLE writing = Open(qualified, CKF_SERIAL_SESSION | CKF_RW_SESSION);
    const CK_SESSION_HANDLE otherSlots = Open(ordinary);
    EXPECT_EQ(Login(writing, CKU_SO), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(f->C_Login(writing, CKU_SO, nullptr, 0), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(Login(otherSlots, CKU_SO), CKR_SESSION_READ_ONLY_EXISTS);
    ASSERT_EQ(Login(writing), CKR_OK);
    EXPECT_EQ(Login(writing, CKU_SO), CKR_USER_ANOTHER_ALREADY_LOGGED_IN);
    const CK_SESSION_HANDLE reading = Open(qualified);
    EXPECT_EQ(Login(writing, CKU_SO), CKR_SESSION_READ_ONLY_EXISTS);
    EXPECT_EQ(State(reading), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 1U);
    for (const CK_USER_TYPE none : {CK_USER_TYPE{3}, CK_UNAVAILABLE_INFORMATION, CK_USER_TYPE{1} << 32U}) {
        EXPECT_EQ(Login(writing, none), CKR_USER_TYPE_INVALID) << none;
    }
}

TEST_F(SessionsTest, NullCodeHasTheCardSideAsk)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(f->C_Login(session, CKU_USER, nullptr, 0), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").at(0).code, std::nullopt);
}

TEST_F(SessionsTest, CodeThatCanBeNoneCostsNoTry)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    EXPECT_EQ(Login(session, CKU_USER, std::string(300, '1')), CKR_PIN_LEN_RANGE);
    EXPECT_EQ(Login(session, CKU_USER, std::string("123") + '\0' + "456"), CKR_PIN_INVALID);
    CK_UTF8CHAR none = 0;
    EXPECT_EQ(f->C_Login(session, CKU_USER, &none, 0), CKR_PIN_LEN_RANGE);
    EXPECT_TRUE(script->CallsOf("Passwords_VerifyBOK").empty());
}

TEST_F(SessionsTest, CodeOfASignatureThatCanBeNoneCostsNoTryAndLeavesTheSignature)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    for (const std::string& code :
         {std::string("65432") + '\0', std::string(1, '\0'), '\0' + std::string("1")}) {
        EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC, code), CKR_PIN_INVALID);
    }
    EXPECT_TRUE(script->CallsOf("QES_VerifyPin").empty());
    Bytes signature;
    ASSERT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_OK);
}

TEST_F(SessionsTest, LengthOfANullCodeMeansNothing)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(f->C_Login(session, CKU_USER, nullptr, 1UL << 40U), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").at(0).code, std::nullopt);
}

TEST_F(SessionsTest, CodeOf255BytesIsTheLongest)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    EXPECT_EQ(Login(session, CKU_USER, std::string(256, '1')), CKR_PIN_LEN_RANGE);
    EXPECT_TRUE(script->CallsOf("Passwords_VerifyBOK").empty());
    EXPECT_EQ(Login(session, CKU_USER, std::string(255, '1')), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").at(0).code, std::string(255, '1'));
}

TEST_F(SessionsTest, WrongCodeLeavesTheSessionLoggedOut)
{
    StartWithCard();
    script->Next("Passwords_VerifyBOK", {.status = eIncorrectCode});
    const CK_SESSION_HANDLE session = Open(qualified);
    EXPECT_EQ(Login(session), CKR_PIN_INCORRECT);
    EXPECT_EQ(State(session), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(Login(session), CKR_USER_ALREADY_LOGGED_IN);
}

TEST_F(SessionsTest, EachSlotOfACardHasItsOwnLogin)
{
    StartWithCard();
    const CK_SESSION_HANDLE first = Open(qualified);
    const CK_SESSION_HANDLE second = Open(ordinary);
    ASSERT_EQ(Login(first), CKR_OK);
    EXPECT_EQ(State(second), CKS_RO_PUBLIC_SESSION);
    ASSERT_EQ(Login(second), CKR_OK); // the card is open already, and asks nothing
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 1U);
    const std::size_t stops = script->CallsOf("StopTransaction").size();
    ASSERT_EQ(f->C_Logout(first), CKR_OK);
    EXPECT_EQ(script->CallsOf("StopTransaction").size(), stops); // the card stays open for the other
    EXPECT_EQ(State(first), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(State(second), CKS_RO_USER_FUNCTIONS);
    ASSERT_EQ(f->C_Logout(second), CKR_OK);
    EXPECT_EQ(script->CallsOf("StopTransaction").size(), stops + 1);
    EXPECT_EQ(f->C_Logout(second), CKR_USER_NOT_LOGGED_IN);
    ASSERT_EQ(Login(second), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 2U);
}

TEST_F(SessionsTest, LastSessionOfASlotTakesItsLoginAlong)
{
    StartWithCard();
    const CK_SESSION_HANDLE first = Open(qualified);
    const CK_SESSION_HANDLE second = Open(qualified);
    ASSERT_EQ(Login(first), CKR_OK);
    ASSERT_EQ(f->C_CloseSession(first), CKR_OK);
    EXPECT_EQ(State(second), CKS_RO_USER_FUNCTIONS);
    ASSERT_EQ(f->C_CloseAllSessions(qualified), CKR_OK);
    const CK_SESSION_HANDLE third = Open(qualified);
    EXPECT_EQ(State(third), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(Find(third), Handles{FindOne(third, CKO_PUBLIC_KEY)});
    EXPECT_EQ(script->CallsOf("StartTransaction").size(), script->CallsOf("StopTransaction").size());
}

TEST_F(SessionsTest, SessionTellsItsSlot)
{
    StartWithCard();
    CK_SESSION_INFO info{untouched, untouched, untouched, untouched};
    ASSERT_EQ(f->C_GetSessionInfo(Open(ordinary), &info), CKR_OK);
    EXPECT_EQ(info.slotID, ordinary);
    EXPECT_EQ(info.ulDeviceError, 0U);
}

TEST_F(SessionsTest, AllSessionsOfASlotAreNotThoseOfTheOther)
{
    StartWithCard();
    const CK_SESSION_HANDLE first = Open(qualified);
    const CK_SESSION_HANDLE second = Open(ordinary);
    ASSERT_EQ(Login(first), CKR_OK);
    ASSERT_EQ(Login(second), CKR_OK);
    ASSERT_EQ(f->C_CloseAllSessions(qualified), CKR_OK);
    EXPECT_EQ(f->C_CloseSession(first), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(State(second), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(State(Open(qualified)), CKS_RO_PUBLIC_SESSION); // the login went with its last session
    Bytes signature;
    ASSERT_EQ(SignInit(second, CKM_SHA256_RSA_PKCS, FindOne(second, CKO_PRIVATE_KEY)), CKR_OK);
    EXPECT_EQ(Sign(second, Text("m"), signature), CKR_OK);
}

TEST_F(SessionsTest, CardIsHeldFromItsFirstWorkToItsLastSession)
{
    StartWithCard();
    const CK_SESSION_HANDLE first = Open(qualified);
    const CK_SESSION_HANDLE second = Open(ordinary);
    script->ForgetCalls();
    ASSERT_EQ(Login(first), CKR_OK);
    EXPECT_EQ(script->CallsOf("StartTransaction").size(), 1U);
    ASSERT_EQ(f->C_CloseSession(first), CKR_OK);
    ASSERT_EQ(Login(second), CKR_OK); // the last login to the card was gone
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 2U);
    Bytes signature;
    ASSERT_EQ(SignInit(second, CKM_SHA256_RSA_PKCS, FindOne(second, CKO_PRIVATE_KEY)), CKR_OK);
    ASSERT_EQ(Sign(second, Text("m"), signature), CKR_OK);
    ASSERT_EQ(f->C_CloseSession(second), CKR_OK);
    EXPECT_EQ(script->CallsOf("StartTransaction").size(), script->CallsOf("StopTransaction").size());
    EXPECT_EQ(script->Violations(), std::vector<std::string>{});
}

TEST_F(SessionsTest, SessionThatHasWorkedHoldsNoCardAfterItsEnd)
{
    StartWithCard();
    CK_SESSION_HANDLE session = Open(ordinary);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    Bytes signature;
    ASSERT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    ASSERT_EQ(f->C_CloseSession(session), CKR_OK);

    session = Open(ordinary);
    script->Next("Passwords_VerifyBOK", {.status = eIncorrectCode});
    ASSERT_EQ(Login(session), CKR_PIN_INCORRECT);
    ASSERT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(script->CallsOf("StartTransaction").size(), script->CallsOf("StopTransaction").size());
}

TEST_F(SessionsTest, SessionThatHasNotWorkedHoldsNoCard)
{
    StartWithCard();
    script->ForgetCalls();
    Open(qualified);
    EXPECT_TRUE(script->CallsOf("StartTransaction").empty());
}

TEST_F(SessionsTest, CloseAllSessionsNeedsACardInTheSlot)
{
    StartWithCard();
    script->RemoveCard(readerA);
    ProcessEvents();
    EXPECT_EQ(f->C_CloseAllSessions(qualified), CKR_TOKEN_NOT_PRESENT);
}

TEST_F(SessionsTest, HandleBeyond32BitsIsInvalid)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    EXPECT_EQ(f->C_CloseSession(session + (1UL << 32U)), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(f->C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(SessionsTest, LoginForAnOperationNeedsTheOperation)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OPERATION_NOT_INITIALIZED);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    ASSERT_EQ(Login(session, CKU_CONTEXT_SPECIFIC, "654321"), CKR_OK);
    Bytes signature;
    ASSERT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    ASSERT_EQ(script->CallsOf("QES_VerifyPin").size(), 1U);
    EXPECT_EQ(script->CallsOf("QES_VerifyPin").at(0).code, "654321");
}

TEST_F(SessionsTest, LoginForAnOperationThatFailedIsAskedForAgain)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    script->Next("QES_VerifyPin", {.status = eIncorrectCode});
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_PIN_INCORRECT);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(script->CallsOf("QES_VerifyPin").size(), 2U);
}

TEST_F(SessionsTest, OrdinaryKeyTakesNoLoginForAnOperation)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_TRUE(script->CallsOf("QES_VerifyPin").empty());
}

class AuthorisationTest : public FrontTest
{
protected:
    // A signature with the qualified key, begun and authorised.
    void AuthoriseSignature()
    {
        StartWithCard();
        session = Open(qualified);
        ASSERT_EQ(Login(session), CKR_OK);
        key = FindOne(session, CKO_PRIVATE_KEY);
        ASSERT_EQ(SignInit(session, CKM_RSA_PKCS, key), CKR_OK);
        ASSERT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    }

    // The signature fails before the card is asked; the next one has the card side ask anew.
    void ExpectThatTheNextSignatureAsks()
    {
        Bytes signature;
        EXPECT_EQ(Sign(session, Bytes(500), signature), CKR_DATA_LEN_RANGE);
        ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
        ASSERT_EQ(Sign(session, Text("m"), signature), CKR_OK);
        EXPECT_EQ(script->CallsOf("QES_VerifyPin").size(), 2U);
    }

    CK_SESSION_HANDLE session = 0;
    CK_OBJECT_HANDLE key = 0;
};

TEST_F(AuthorisationTest, ThatWasNotUsedIsNotLeftForTheNextSignature)
{
    ASSERT_NO_FATAL_FAILURE(AuthoriseSignature());
    ExpectThatTheNextSignatureAsks();
}

TEST_F(AuthorisationTest, AskedForTwiceIsStillForThatOperationAlone)
{
    ASSERT_NO_FATAL_FAILURE(AuthoriseSignature());
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_USER_ALREADY_LOGGED_IN);
    ExpectThatTheNextSignatureAsks();
}

TEST_F(SessionsTest, AuthorisationEndsWithTheLogin)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    ASSERT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    Bytes signature;
    ASSERT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    EXPECT_EQ(script->CallsOf("QES_VerifyPin").size(), 2U); // the card side asked anew
}

TEST_F(SessionsTest, SignatureOfAnEarlierLoginTakesNoLogin)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_TRUE(script->CallsOf("QES_VerifyPin").empty());
}

TEST_F(SessionsTest, RandomBytesComeAndNoSeedGoes)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    Bytes first(300);
    Bytes second(300);
    EXPECT_EQ(f->C_GenerateRandom(session, first.data(), first.size()), CKR_OK);
    EXPECT_EQ(f->C_GenerateRandom(session, second.data(), second.size()), CKR_OK);
    EXPECT_NE(first, second);
    EXPECT_EQ(f->C_GenerateRandom(session, nullptr, 1), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GenerateRandom(session + 1, first.data(), 1), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_SeedRandom(session, first.data(), 1), CKR_RANDOM_SEED_NOT_SUPPORTED);
    EXPECT_EQ(f->C_SeedRandom(session + 1, first.data(), 1), CKR_SESSION_HANDLE_INVALID);
}

} // namespace
} // namespace front_test
