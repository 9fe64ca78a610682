#include "tests/front/every_call.h"
#include "tests/front/front_test.h"

#include <array>

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

TEST_F(SessionsTest, EveryCallRefusesAClosedSession)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(f->C_CloseSession(session), CKR_OK);
    for (const NamedCall& call : EveryCallWithASession(f3, session)) {
        EXPECT_EQ(call.make(), CKR_SESSION_HANDLE_INVALID) << call.name;
    }
}

TEST_F(SessionsTest, SessionIsSerialAndHasItsSlotAndAHandleOfFullWidth)
{
    StartWithCard();
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(f->C_OpenSession(ordinary, 0, nullptr, nullptr, &session), CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    EXPECT_EQ(f->C_OpenSession(ordinary, CKF_SERIAL_SESSION, nullptr, nullptr, nullptr), CKR_ARGUMENTS_BAD);
    session = Open(ordinary);
    CK_SESSION_INFO info{untouched, untouched, untouched, untouched};
    ASSERT_EQ(f->C_GetSessionInfo(session, &info), CKR_OK);
    EXPECT_EQ(info.slotID, ordinary);
    EXPECT_EQ(info.ulDeviceError, 0U);
    EXPECT_EQ(f->C_CloseSession(session + highestBit), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(f->C_CloseSession(session), CKR_SESSION_HANDLE_INVALID);
    RemoveCard(readerA);
    EXPECT_EQ(f->C_CloseAllSessions(ordinary), CKR_TOKEN_NOT_PRESENT);
}

TEST_F(SessionsTest, CodeReachesTheCardAsGivenAndANullOneAsNone)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    const auto expectCode = [&](CK_RV answer, const std::optional<std::string>& code) {
        ASSERT_EQ(answer, CKR_OK);
        EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").back().code, code);
        ASSERT_EQ(f->C_Logout(session), CKR_OK);
    };
    expectCode(Login(session, CKU_USER, "987654"), "987654");
    expectCode(Login(session, CKU_USER, std::string(255, '1')), std::string(255, '1'));
    expectCode(f->C_Login(session, CKU_USER, nullptr, 0), std::nullopt);
    expectCode(f->C_Login(session, CKU_USER, nullptr, highestBit), std::nullopt); // whatever its length
}

TEST_F(SessionsTest, LoginOfTheSecurityOfficerIsRefused)
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
    for (const CK_USER_TYPE none : {CK_USER_TYPE{3}, CK_UNAVAILABLE_INFORMATION, highestBit}) {
        EXPECT_EQ(Login(writing, none), CKR_USER_TYPE_INVALID) << none;
    }
}

TEST_F(SessionsTest, CodeThatNoCardHasCostsNoTry)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    EXPECT_EQ(Login(session, CKU_USER, std::string(256, '1')), CKR_PIN_LEN_RANGE);
    EXPECT_EQ(Login(session, CKU_USER, std::string("123") + '\0' + "456"), CKR_PIN_INVALID);
    CK_UTF8CHAR none = 0;
    EXPECT_EQ(f->C_Login(session, CKU_USER, &none, 0), CKR_PIN_LEN_RANGE);
    EXPECT_TRUE(script->CallsOf("Passwords_VerifyBOK").empty());
}

TEST_F(SessionsTest, CodeOfASignatureThatNoCardHasCostsNoTryAndLeavesTheSignature)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified);
    ASSERT_EQ(SignInit(session), CKR_OK);
    for (const std::string& code :
         {std::string("65432") + '\0', std::string(1, '\0'), '\0' + std::string("1")}) {
        EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC, code), CKR_PIN_INVALID);
    }
    EXPECT_TRUE(script->CallsOf("QES_VerifyPin").empty());
    Bytes signature;
    ASSERT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_OK);
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
    EXPECT_EQ(script->CallsOf("StopTransaction").size(), stops); // the other slot is still logged in
    EXPECT_EQ(State(first), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(State(second), CKS_RO_USER_FUNCTIONS);
    ASSERT_EQ(f->C_Logout(second), CKR_OK);
    EXPECT_EQ(script->CallsOf("StopTransaction").size(), stops + 1);
    EXPECT_EQ(f->C_Logout(second), CKR_USER_NOT_LOGGED_IN);
    ASSERT_EQ(Login(second), CKR_OK);
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 2U);
}

TEST_F(SessionsTest, CloseOfTheLastSessionLogsTheSlotOut)
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
    EXPECT_EQ(Find(third), PublicObjects(third));
    EXPECT_EQ(script->CallsOf("StartTransaction").size(), script->CallsOf("StopTransaction").size());
}

TEST_F(SessionsTest, CloseAllSessionsLeavesTheOtherSlotsSessions)
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
    ASSERT_EQ(SignInit(second), CKR_OK);
    EXPECT_EQ(Sign(second, Text("m"), signature), CKR_OK);
}

TEST_F(SessionsTest, TransactionLastsFromTheLoginToTheLastSession)
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
    ASSERT_EQ(SignInit(second), CKR_OK);
    ASSERT_EQ(Sign(second, Text("m"), signature), CKR_OK);
    ASSERT_EQ(f->C_CloseSession(second), CKR_OK);
    EXPECT_EQ(script->CallsOf("StartTransaction").size(), script->CallsOf("StopTransaction").size());
    EXPECT_EQ(script->Violations(), std::vector<std::string>{});
}

TEST_F(SessionsTest, ClosedSessionLeavesNoTransaction)
{
    StartWithCard();
    CK_SESSION_HANDLE session = Open(ordinary);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignInit(session), CKR_OK);
    Bytes signature;
    ASSERT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    ASSERT_EQ(f->C_CloseSession(session), CKR_OK);

    session = Open(ordinary);
    script->Next("Passwords_VerifyBOK", {.status = eIncorrectCode});
    ASSERT_EQ(Login(session), CKR_PIN_INCORRECT);
    ASSERT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(script->CallsOf("StartTransaction").size(), script->CallsOf("StopTransaction").size());
}

TEST_F(SessionsTest, OpenSessionAloneStartsNoTransaction)
{
    StartWithCard();
    script->ForgetCalls();
    Open(qualified);
    EXPECT_TRUE(script->CallsOf("StartTransaction").empty());
}

TEST_F(SessionsTest, LoginForAnOperationNeedsTheOperation)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OPERATION_NOT_INITIALIZED);
    ASSERT_EQ(SignInit(session), CKR_OK);
    ASSERT_EQ(Login(session, CKU_CONTEXT_SPECIFIC, "654321"), CKR_OK);
    Bytes signature;
    ASSERT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    ASSERT_EQ(script->CallsOf("QES_VerifyPin").size(), 1U);
    EXPECT_EQ(script->CallsOf("QES_VerifyPin").at(0).code, "654321");
}

TEST_F(SessionsTest, LoginForAnOperationThatFailedIsAskedForAgain)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified);
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->Next("QES_VerifyPin", {.status = eIncorrectCode});
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_PIN_INCORRECT);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(script->CallsOf("QES_VerifyPin").size(), 2U);
}

TEST_F(SessionsTest, OrdinaryKeyTakesNoLoginForAnOperation)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    ASSERT_EQ(SignInit(session), CKR_OK);
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

TEST_F(AuthorisationTest, UnusedAuthorisationIsNotLeftForTheNextSignature)
{
    ASSERT_NO_FATAL_FAILURE(AuthoriseSignature());
    ExpectThatTheNextSignatureAsks();
}

TEST_F(AuthorisationTest, SecondAuthorisationIsStillForThatOperationAlone)
{
    ASSERT_NO_FATAL_FAILURE(AuthoriseSignature());
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_USER_ALREADY_LOGGED_IN);
    ExpectThatTheNextSignatureAsks();
}

TEST_F(SessionsTest, AuthorisationEndsWithTheLogin)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified);
    ASSERT_EQ(SignInit(session), CKR_OK);
    ASSERT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(SignInit(session), CKR_OK);
    Bytes signature;
    ASSERT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    EXPECT_EQ(script->CallsOf("QES_VerifyPin").size(), 2U); // the card side asked anew
}

TEST_F(SessionsTest, SignatureOfAnEarlierLoginTakesNoLogin)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified);
    ASSERT_EQ(SignInit(session), CKR_OK);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_TRUE(script->CallsOf("QES_VerifyPin").empty());
}

TEST_F(SessionsTest, RandomBytesAreGeneratedAndASeedIsRefused)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    Bytes first(300);
    Bytes second(300);
    EXPECT_EQ(f->C_GenerateRandom(session, first.data(), Length(first)), CKR_OK);
    EXPECT_EQ(f->C_GenerateRandom(session, second.data(), Length(second)), CKR_OK);
    EXPECT_NE(first, second);
    EXPECT_EQ(f->C_GenerateRandom(session, nullptr, 1), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GenerateRandom(session + 1, first.data(), 1), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_SeedRandom(session, first.data(), 1), CKR_RANDOM_SEED_NOT_SUPPORTED);
    EXPECT_EQ(f->C_SeedRandom(session + 1, first.data(), 1), CKR_SESSION_HANDLE_INVALID);
}

} // namespace
} // namespace front_test
