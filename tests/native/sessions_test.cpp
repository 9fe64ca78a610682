#include "front_test.h"

namespace FrontTests {
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
    EXPECT_EQ(State(writing), rwPublicSession);
    ASSERT_EQ(Login(reading), CKR_OK);
    EXPECT_EQ(State(reading), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(State(writing), rwUserFunctions);
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
    EXPECT_EQ(Login(session, CKU_SO), CKR_USER_TYPE_INVALID);
    EXPECT_TRUE(script->CallsOf("Passwords_VerifyBOK").empty());
}

TEST_F(SessionsTest, WrongCodeLeavesTheSessionLoggedOut)
{
    StartWithCard();
    script->Next("Passwords_VerifyBOK", {.status = 15});
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
    ASSERT_EQ(f->C_Logout(first), CKR_OK);
    EXPECT_EQ(State(first), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(State(second), CKS_RO_USER_FUNCTIONS);
    ASSERT_EQ(f->C_Logout(second), CKR_OK);
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
    EXPECT_EQ(State(Open(qualified)), CKS_RO_PUBLIC_SESSION);
    EXPECT_EQ(script->CallsOf("StartTransaction").size(), script->CallsOf("StopTransaction").size());
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

TEST_F(SessionsTest, AuthorisationThatWasNotUsedIsNotLeftForTheNextSignature)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    ASSERT_EQ(Login(session), CKR_OK);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    ASSERT_EQ(SignInit(session, CKM_RSA_PKCS, key), CKR_OK);
    ASSERT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_OK);
    Bytes signature;
    EXPECT_EQ(Sign(session, Bytes(500), signature), CKR_DATA_LEN_RANGE);
    ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    ASSERT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    EXPECT_EQ(script->CallsOf("QES_VerifyPin").size(), 2U); // the card side asked anew
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
}

} // namespace
} // namespace FrontTests
