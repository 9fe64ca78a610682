// C_SessionCancel.
#include "tests/front/dialog_test.h"
#include "tests/front/front_test.h"

#include <functional>
#include <string>
#include <vector>

namespace front_test {
namespace {

constexpr CK_FLAGS everyOperation =
    CKF_MESSAGE_ENCRYPT | CKF_MESSAGE_DECRYPT | CKF_MESSAGE_SIGN | CKF_MESSAGE_VERIFY | CKF_FIND_OBJECTS |
    CKF_ENCRYPT | CKF_DECRYPT | CKF_DIGEST | CKF_SIGN | CKF_SIGN_RECOVER | CKF_VERIFY | CKF_VERIFY_RECOVER |
    CKF_GENERATE | CKF_GENERATE_KEY_PAIR | CKF_WRAP | CKF_UNWRAP | CKF_DERIVE;

class SessionCancelTest : public DialogTest
{
protected:
    struct Operation
    {
        CK_FLAGS flag;
        std::function<CK_RV()> begin;
    };

    void StartOrdinary()
    {
        session = StartLoggedIn(ordinary);
        privateKey = FindOne(session, CKO_PRIVATE_KEY);
        publicKey = FindOne(session, CKO_PUBLIC_KEY);
    }

    std::vector<Operation> Operations()
    {
        return {
            {CKF_FIND_OBJECTS, [this] { return f->C_FindObjectsInit(session, nullptr, 0); }},
            {CKF_DIGEST, [this] { return f->C_DigestInit(session, &sha256); }},
            {CKF_SIGN, [this] { return SignInit(session, CKM_RSA_PKCS, privateKey); }},
            {CKF_VERIFY, [this] { return VerifyInit(session, CKM_RSA_PKCS, publicKey); }},
            {CKF_ENCRYPT, [this] { return EncryptInit(session, publicKey); }},
            {CKF_DECRYPT, [this] { return DecryptInit(session, privateKey); }},
        };
    }

    CK_RV Cancel(CK_FLAGS flags) { return f3->C_SessionCancel(session, flags); }

    // With a code from the card's keyboard.
    CK_RV Authorise() { return f->C_Login(session, CKU_CONTEXT_SPECIFIC, nullptr, 0); }

    CK_SESSION_HANDLE session = 0;
    CK_OBJECT_HANDLE privateKey = 0;
    CK_OBJECT_HANDLE publicKey = 0;
    CK_MECHANISM sha256{CKM_SHA256, nullptr, 0};
};

TEST_F(SessionCancelTest, FlagEndsItsOperationAndNoOther)
{
    StartOrdinary();
    for (const Operation& operation : Operations()) {
        ASSERT_EQ(operation.begin(), CKR_OK) << operation.flag;
    }
    for (const Operation& cancelled : Operations()) {
        EXPECT_EQ(Cancel(cancelled.flag), CKR_OK);
        for (const Operation& operation : Operations()) {
            EXPECT_EQ(operation.begin(), operation.flag == cancelled.flag ? CKR_OK : CKR_OPERATION_ACTIVE)
                << operation.flag << " after " << cancelled.flag;
        }
    }
}

TEST_F(SessionCancelTest, AllOperationsEndAtOnceAndNoneIsNeeded)
{
    StartOrdinary();
    EXPECT_EQ(Cancel(everyOperation), CKR_OK);
    for (const Operation& operation : Operations()) {
        ASSERT_EQ(operation.begin(), CKR_OK) << operation.flag;
    }
    EXPECT_EQ(Cancel(0), CKR_OK);
    EXPECT_EQ(Cancel(~(CKF_FIND_OBJECTS | CKF_DIGEST | CKF_SIGN | CKF_VERIFY | CKF_ENCRYPT | CKF_DECRYPT)),
              CKR_OK);
    for (const Operation& operation : Operations()) {
        EXPECT_EQ(operation.begin(), CKR_OPERATION_ACTIVE) << operation.flag;
    }
    EXPECT_EQ(Cancel(everyOperation), CKR_OK);
    Bytes block(128, 1);
    CK_ULONG length = Length(block);
    CK_OBJECT_HANDLE found = 0;
    EXPECT_EQ(f->C_FindObjects(session, &found, 1, &length), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(f->C_DigestFinal(session, block.data(), &length), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(f->C_SignFinal(session, block.data(), &length), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(f->C_VerifyFinal(session, block.data(), length), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Encrypt(session, block.data(), 1, block.data(), &length), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Decrypt(session, block.data(), 128, block.data(), &length), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(Cancel(everyOperation), CKR_OK);
    EXPECT_TRUE(script->CallsOf("ES_SignData").empty());
    EXPECT_TRUE(script->CallsOf("ES_DecryptData").empty());
}

TEST_F(SessionCancelTest, OnlyTheOperationsOfItsSessionEnd)
{
    StartOrdinary();
    const CK_SESSION_HANDLE other = Open(ordinary);
    ASSERT_EQ(f->C_DigestInit(other, &sha256), CKR_OK);
    EXPECT_EQ(Cancel(CKF_DIGEST), CKR_OK);
    EXPECT_EQ(f->C_DigestInit(other, &sha256), CKR_OPERATION_ACTIVE);
    ASSERT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(Cancel(CKF_DIGEST), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(Cancel(0), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(SessionCancelTest, PartsOfACancelledOperationAreForgotten)
{
    StartOrdinary();
    Bytes part{1, 2, 3};
    ASSERT_EQ(f->C_DigestInit(session, &sha256), CKR_OK);
    ASSERT_EQ(f->C_DigestUpdate(session, part.data(), Length(part)), CKR_OK);
    ASSERT_EQ(Cancel(CKF_DIGEST), CKR_OK);
    Bytes digest;
    Bytes expected;
    ASSERT_EQ(Digest(session, CKM_SHA256, {}, digest), CKR_OK);
    ASSERT_EQ(Digest(Open(ordinary), CKM_SHA256, {}, expected), CKR_OK);
    EXPECT_EQ(digest, expected);
    ASSERT_EQ(SignInit(session), CKR_OK);
    ASSERT_EQ(f->C_SignUpdate(session, part.data(), Length(part)), CKR_OK);
    ASSERT_EQ(Cancel(CKF_SIGN), CKR_OK);
    ASSERT_EQ(SignInit(session), CKR_OK);
    Bytes signature;
    ASSERT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    EXPECT_EQ(signature, SignatureOfMessage(Text("m")));
}

TEST_F(SessionCancelTest, AuthorisationOfACancelledSignatureIsOver)
{
    session = StartLoggedIn(qualified);
    ASSERT_EQ(SignInit(session), CKR_OK);
    ASSERT_EQ(Authorise(), CKR_OK);
    ASSERT_EQ(Cancel(CKF_VERIFY), CKR_OK);
    EXPECT_EQ(Authorise(), CKR_USER_ALREADY_LOGGED_IN) << "another operation's end is no end of it";
    ASSERT_EQ(Cancel(CKF_SIGN), CKR_OK);
    EXPECT_EQ(Authorise(), CKR_OPERATION_NOT_INITIALIZED);
    ASSERT_EQ(SignInit(session), CKR_OK);
    Bytes signature;
    ASSERT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    EXPECT_EQ(script->CallsOf("QES_VerifyPin").size(), 2U) << "the signature has asked for the code again";
    EXPECT_EQ(State(session), CKS_RO_USER_FUNCTIONS);
}

TEST_F(SessionCancelTest, OperationOfAnEarlierLoginIsCancelledTwice)
{
    StartOrdinary();
    ASSERT_EQ(SignInit(session), CKR_OK);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(Cancel(CKF_SIGN | CKF_DECRYPT), CKR_OK);
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(SignInit(session), CKR_OK);
    EXPECT_EQ(Cancel(CKF_SIGN), CKR_OK);
}

TEST_F(SessionCancelTest, PlainTextThatDidNotFitIsForgotten)
{
    StartOrdinary();
    ASSERT_EQ(DecryptInit(session, privateKey), CKR_OK);
    Bytes block(128, 1);
    CK_BYTE small = 0;
    CK_ULONG length = 0;
    ASSERT_EQ(f->C_Decrypt(session, block.data(), Length(block), &small, &length), CKR_BUFFER_TOO_SMALL);
    ASSERT_EQ(Cancel(CKF_DECRYPT), CKR_OK);
    ASSERT_EQ(DecryptInit(session, privateKey), CKR_OK);
    length = 0;
    EXPECT_EQ(f->C_Decrypt(session, block.data(), Length(block), &small, &length), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(script->CallsOf("ES_DecryptData").size(), 2U);
}

TEST_F(SessionCancelTest, WorkOfTheCardCannotBeCancelled)
{
    StartWithTwoSessions();
    ASSERT_EQ(Login(first), CKR_OK);
    session = first;
    ASSERT_EQ(SignInit(session), CKR_OK);
    OpenDialog("QES_VerifyPin", [this] { return Authorise(); });
    EXPECT_TRUE(
        IsAnsweredMeanwhile([this] { EXPECT_EQ(Cancel(everyOperation), CKR_OPERATION_CANCEL_FAILED); }));
    EndDialog();
    Bytes signature;
    OpenDialog("QES_SignData", [&] { return Sign(session, Text("m"), signature); });
    EXPECT_TRUE(IsAnsweredMeanwhile([this] { EXPECT_EQ(Cancel(CKF_SIGN), CKR_OPERATION_CANCEL_FAILED); }));
    EndDialog();
    EXPECT_FALSE(signature.empty());
    EXPECT_EQ(Cancel(everyOperation), CKR_OK);

    session = second;
    ASSERT_EQ(DecryptInit(session, FindOne(session, CKO_PRIVATE_KEY)), CKR_OK);
    OpenDialog("ES_DecryptData", [this] {
        Bytes block(128, 1);
        CK_ULONG length = Length(block);
        return f->C_Decrypt(session, block.data(), Length(block), block.data(), &length);
    });
    EXPECT_TRUE(IsAnsweredMeanwhile([this] { EXPECT_EQ(Cancel(CKF_DECRYPT), CKR_OPERATION_CANCEL_FAILED); }));
    EndDialog();
    EXPECT_EQ(Cancel(everyOperation), CKR_OK);
}

TEST_F(SessionCancelTest, OtherOperationIsCancelledWhenTheCardHasDoneItsWork)
{
    StartWithTwoSessions();
    ASSERT_EQ(Login(first), CKR_OK);
    session = first;
    ASSERT_EQ(f->C_DigestInit(session, &sha256), CKR_OK);
    ASSERT_EQ(SignInit(session), CKR_OK);
    Bytes signature;
    OpenDialog("QES_SignData", [&] { return Sign(session, Text("m"), signature); });
    CK_RV cancelled = CKR_GENERAL_ERROR;
    std::thread cancelling([&] { cancelled = Cancel(CKF_DIGEST); });
    EndDialog();
    cancelling.join();
    EXPECT_EQ(cancelled, CKR_OK);
    EXPECT_FALSE(signature.empty());
    EXPECT_EQ(f->C_DigestInit(session, &sha256), CKR_OK);
}

} // namespace
} // namespace front_test
