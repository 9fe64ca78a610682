// What is left of a login that was refused, and of one whose secure channel the card has given up.
#include "tests/front/front_test.h"
#include "tests/support/test_certificates.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

namespace front_test {
namespace {

class LoginsTest : public FrontTest
{
protected:
    // Whether this process holds no transaction.
    bool CardsAreFree() const
    {
        const auto ledger = script->Ledger();
        return std::all_of(ledger.begin(), ledger.end(), [](const scripted::LedgerEntry& entry) {
            return entry.transactionStarts == entry.transactionStops;
        });
    }

    CK_RV Decrypt(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key)
    {
        const CK_RV begun = DecryptInit(session, key);
        Bytes block(128, 1);
        CK_ULONG length = Length(block);
        return begun == CKR_OK ? f->C_Decrypt(session, block.data(), Length(block), block.data(), &length)
                               : begun;
    }

    std::size_t TimesAsked() const { return script->CallsOf("Passwords_VerifyBOK").size(); }
};

TEST_F(LoginsTest, RefusedLoginLeavesNoTransaction)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    Open(qualified);
    VerifyResult locked{};
    locked.status = bokLocked;
    const std::vector<std::pair<scripted::Answer, CK_RV>> refusals = {
        {{.status = eIncorrectCode}, CKR_PIN_INCORRECT},
        {{.status = eUserInputError}, CKR_FUNCTION_CANCELED},
        {{.status = eCardCommErr}, CKR_DEVICE_ERROR},
        {{.status = eStatusSHARING_VIOLATION}, CKR_DEVICE_ERROR},
        {{.status = eInvalidCodeState, .verify = locked}, CKR_PIN_LOCKED},
        {{.hook = [] { throw std::runtime_error("no such function"); }}, CKR_FUNCTION_FAILED}};
    for (const auto& [answer, expected] : refusals) {
        script->Next("Passwords_VerifyBOK", answer);
        EXPECT_EQ(Login(session), expected);
        EXPECT_TRUE(CardsAreFree()) << expected;
        EXPECT_EQ(State(session), CKS_RO_PUBLIC_SESSION);
    }
    EXPECT_EQ(Login(session), CKR_OK);
    EXPECT_FALSE(CardsAreFree());
}

TEST_F(LoginsTest, RefusedLoginAfterALogoutLeavesNoTransaction)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    const CK_SESSION_HANDLE other = Open(ordinary);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(Decrypt(session, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    ASSERT_EQ(Decrypt(other, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_TRUE(CardsAreFree());
    script->Next("Passwords_VerifyBOK", {.status = eIncorrectCode});
    EXPECT_EQ(Login(session), CKR_PIN_INCORRECT);
    EXPECT_TRUE(CardsAreFree());
    EXPECT_EQ(Login(other), CKR_OK);
    EXPECT_EQ(Decrypt(other, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
}

TEST_F(LoginsTest, RefusedLoginForASignatureKeepsTheTransactionOfTheLoginAlone)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified);
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->Next("QES_VerifyPin", {.status = eIncorrectCode});
    EXPECT_EQ(Login(session, CKU_CONTEXT_SPECIFIC), CKR_PIN_INCORRECT);
    EXPECT_EQ(State(session), CKS_RO_USER_FUNCTIONS);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_TRUE(CardsAreFree());
}

class BrokenChannelTest : public LoginsTest
{
protected:
    // Both slots are logged in to.
    void StartLoggedIn()
    {
        StartWithCard();
        first = Open(ordinary);
        second = Open(qualified);
        ASSERT_EQ(Login(first), CKR_OK);
        ASSERT_EQ(Login(second), CKR_OK);
        ASSERT_EQ(TimesAsked(), 1U);
    }

    void BreakChannel()
    {
        script->ChangeCard(readerA, [](scripted::Card& card) { card.flags &= ~secureMessagingFlag; });
        for (const char* function : {"ES_SignData", "ES_DecryptData"}) {
            script->Always(function, {.status = eSmNotInitialized});
        }
    }

    void MendCard()
    {
        for (const char* function : {"ES_SignData", "ES_DecryptData"}) {
            script->Always(function, {});
        }
    }

    void ExpectLoggedOut()
    {
        EXPECT_EQ(State(first), CKS_RO_PUBLIC_SESSION);
        EXPECT_EQ(State(second), CKS_RO_PUBLIC_SESSION);
        EXPECT_TRUE(Find(first, Records().Number(CKA_CLASS, CKO_PRIVATE_KEY)).empty());
        EXPECT_TRUE(CardsAreFree());
    }

    void ExpectThatALoginAsks()
    {
        MendCard();
        EXPECT_EQ(Login(first), CKR_OK);
        EXPECT_EQ(TimesAsked(), 2U);
        EXPECT_EQ(Decrypt(first, FindOne(first, CKO_PRIVATE_KEY)), CKR_OK);
        EXPECT_EQ(Login(second), CKR_OK);
        EXPECT_EQ(TimesAsked(), 2U);
    }

    CK_SESSION_HANDLE first = 0;
    CK_SESSION_HANDLE second = 0;
};

TEST_F(BrokenChannelTest, DecryptionThatFailsEndsTheLogin)
{
    ASSERT_NO_FATAL_FAILURE(StartLoggedIn());
    const CK_OBJECT_HANDLE key = FindOne(first, CKO_PRIVATE_KEY);
    BreakChannel();
    EXPECT_EQ(Decrypt(first, key), CKR_FUNCTION_FAILED);
    ExpectLoggedOut();
    ExpectThatALoginAsks();
}

TEST_F(BrokenChannelTest, SignatureThatFailsEndsTheLogin)
{
    ASSERT_NO_FATAL_FAILURE(StartLoggedIn());
    ASSERT_EQ(SignInit(first), CKR_OK);
    BreakChannel();
    Bytes signature;
    EXPECT_EQ(Sign(first, Text("m"), signature), CKR_FUNCTION_FAILED);
    ExpectLoggedOut();
    EXPECT_EQ(Sign(first, Text("m"), signature), CKR_OPERATION_NOT_INITIALIZED);
    ExpectThatALoginAsks();
}

TEST_F(BrokenChannelTest, QualifiedSignatureThatFailsEndsTheLogin)
{
    ASSERT_NO_FATAL_FAILURE(StartLoggedIn());
    ASSERT_EQ(SignInit(second), CKR_OK);
    BreakChannel();
    script->Next("QES_VerifyPin", {.status = eSmNotInitialized, .outputs = scripted::Outputs::Never});
    Bytes signature;
    EXPECT_EQ(Sign(second, Text("m"), signature), CKR_FUNCTION_FAILED);
    ExpectLoggedOut();
    ExpectThatALoginAsks();
}

TEST_F(BrokenChannelTest, LoginForASignatureThatFailsEndsTheLogin)
{
    ASSERT_NO_FATAL_FAILURE(StartLoggedIn());
    ASSERT_EQ(SignInit(second), CKR_OK);
    BreakChannel();
    script->Next("QES_VerifyPin", {.status = eSmNotInitialized});
    EXPECT_EQ(Login(second, CKU_CONTEXT_SPECIFIC), CKR_FUNCTION_FAILED);
    ExpectLoggedOut();
    ExpectThatALoginAsks();
}

TEST_F(BrokenChannelTest, LoginFindsTheBrokenChannelByItself)
{
    ASSERT_NO_FATAL_FAILURE(StartLoggedIn());
    EXPECT_EQ(Login(first), CKR_USER_ALREADY_LOGGED_IN);
    ASSERT_EQ(SignInit(first), CKR_OK);
    BreakChannel();
    MendCard();
    EXPECT_EQ(Login(first), CKR_OK);
    EXPECT_EQ(TimesAsked(), 2U);
    EXPECT_EQ(State(second), CKS_RO_PUBLIC_SESSION) << "its login was over";
    Bytes signature;
    EXPECT_EQ(Sign(first, Text("m"), signature), CKR_OPERATION_NOT_INITIALIZED)
        << "begun in the login before";
    EXPECT_EQ(Decrypt(first, FindOne(first, CKO_PRIVATE_KEY)), CKR_OK);
    EXPECT_EQ(Login(first), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(Login(second), CKR_OK);
    EXPECT_EQ(TimesAsked(), 2U);
}

TEST_F(BrokenChannelTest, RefusedLoginLeavesNoSlotLoggedIn)
{
    ASSERT_NO_FATAL_FAILURE(StartLoggedIn());
    BreakChannel();
    script->Next("Passwords_VerifyBOK", {.status = eIncorrectCode});
    EXPECT_EQ(Login(first), CKR_PIN_INCORRECT);
    ExpectLoggedOut();
    MendCard();
    EXPECT_EQ(Login(first), CKR_OK);
    EXPECT_EQ(TimesAsked(), 3U);
}

TEST_F(BrokenChannelTest, OperationThatFailsForAnotherReasonKeepsTheLogin)
{
    ASSERT_NO_FATAL_FAILURE(StartLoggedIn());
    const CK_OBJECT_HANDLE key = FindOne(first, CKO_PRIVATE_KEY);
    script->Next("ES_DecryptData", {.status = eInvalidDataDecoded}); // a block that holds nothing, say
    EXPECT_EQ(Decrypt(first, key), CKR_FUNCTION_FAILED);
    ASSERT_EQ(SignInit(first, CKM_SHA256_RSA_PKCS, key), CKR_OK);
    script->Next("ES_SignData", {.status = eInvalidDataDecoded});
    Bytes signature;
    EXPECT_EQ(Sign(first, Text("m"), signature), CKR_FUNCTION_FAILED);
    EXPECT_EQ(State(first), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(State(second), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(Decrypt(first, key), CKR_OK);
}

} // namespace
} // namespace front_test
