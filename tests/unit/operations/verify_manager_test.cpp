#include "src/operations/verify_manager.h"

#include "tests/unit/crypto/rsa_test_keys.h"
#include "tests/unit/operations/rsa_store_fixture.h"

namespace {

constexpr char verifyFunction[] = "VerifyManager::Verify";
using Messages = std::vector<std::string>;

class VerifyManagerTest : public RsaStoreTest
{
protected:
    CK_RV Init(CK_OBJECT_HANDLE handle) { return manager.Init(session, handle, &mechanism); }

    // Whether `result` is written, and to what; it is tried with both values before.
    void ExpectResult(bool expected)
    {
        for (const bool before : {false, true}) {
            bool result = before;
            manager.Verify(result);
            EXPECT_EQ(result, expected);
        }
    }
    void ExpectNoResult()
    {
        for (const bool before : {false, true}) {
            bool result = before;
            manager.Verify(result);
            EXPECT_EQ(result, before);
        }
    }

    void SetGoodData() { manager.SetData(Value(signature), Value(message)); }

    static Bytes Sign(const Bytes& data)
    {
        Zelmo::Crypto::RsaSigner signer(&TestRsaKey(), "EMSA3(Raw)");
        const HexBinary value = MakeHex(data);
        return TakeBytes(signer.Sign(&value));
    }

    const Bytes message{'d', 'a', 't', 'a'};
    const Bytes signature = Sign(message);
    const CK_OBJECT_HANDLE key = AddKey(TestKeyParts().modulus, TestKeyParts().exponent);
    VerifyManager manager;
};

} // namespace

TEST_F(VerifyManagerTest, StartsWithNothing)
{
    EXPECT_EQ(manager.signature, nullptr);
    EXPECT_EQ(manager.message, nullptr);
    EXPECT_FALSE(manager.operation.active);
}

TEST_F(VerifyManagerTest, InitDropsTheDataOfBefore)
{
    ASSERT_EQ(Init(key), 0U);
    SetGoodData();
    ASSERT_EQ(Init(key), 0U);
    EXPECT_EQ(manager.signature, nullptr);
    EXPECT_EQ(manager.message, nullptr);
}

TEST_F(VerifyManagerTest, WithoutDataNothingIsWritten)
{
    ASSERT_EQ(Init(key), 0U);
    LogCapture log;
    ExpectNoResult();
    EXPECT_EQ(log.MessagesOf(verifyFunction), Messages(2, Leaving("20 CKR_DATA_INVALID")));
}

TEST_F(VerifyManagerTest, WritesTheAnswerAndLogsSuccessForEither)
{
    ASSERT_EQ(Init(key), 0U);
    LogCapture log;
    SetGoodData();
    ExpectResult(true);
    manager.SetData(Value(signature), Value({'d'}));
    ExpectResult(false);
    EXPECT_EQ(log.MessagesOf(verifyFunction), Messages(4, Leaving("0 CKR_OK")));
}

TEST_F(VerifyManagerTest, SetDataKeepsWhatItIsGivenAndDropsWhatWas)
{
    SetGoodData();
    manager.SetData(Value({1}), Value({2, 3}));
    EXPECT_EQ(manager.signature->length, 1);
    EXPECT_EQ(manager.message->length, 2);
}

TEST_F(VerifyManagerTest, WithoutAKeyNothingIsWritten)
{
    EXPECT_EQ(Init(99), CKR_KEY_HANDLE_INVALID);
    SetGoodData();
    LogCapture log;
    ExpectNoResult();
    EXPECT_EQ(log.MessagesOf(verifyFunction), Messages(2, Leaving("6 CKR_FUNCTION_FAILED")));
}

TEST_F(VerifyManagerTest, ObjectWithoutTheAttributesWritesNothing)
{
    EXPECT_EQ(Init(AddCertificate(card.ordinarySlot)), CKR_KEY_FUNCTION_NOT_PERMITTED);
    SetGoodData();
    LogCapture log;
    ExpectNoResult();
    EXPECT_EQ(log.MessagesOf(verifyFunction), Messages(2, Leaving("12 CKR_ATTRIBUTE_TYPE_INVALID")));
}

TEST_F(VerifyManagerTest, PartsThatMakeNoKeyWriteNothing)
{
    for (const CK_ATTRIBUTE_TYPE type : {CKA_MODULUS, CKA_PUBLIC_EXPONENT}) {
        const CK_OBJECT_HANDLE bad = AddKey(TestKeyParts().modulus, TestKeyParts().exponent);
        RemoveAttribute(ObjectOf(bad), type);
        ASSERT_EQ(Init(bad), 0U);
        SetGoodData();
        LogCapture log;
        ExpectNoResult();
        EXPECT_EQ(log.MessagesOf(verifyFunction), Messages(2, Leaving("6 CKR_FUNCTION_FAILED")));
    }
}

TEST_F(VerifyManagerTest, LeadingZerosOfTheModulusDoNotMatter)
{
    Bytes modulus = TestKeyParts().modulus;
    modulus.insert(modulus.begin(), 2, 0);
    ASSERT_EQ(Init(AddKey(modulus, TestKeyParts().exponent)), 0U);
    SetGoodData();
    ExpectResult(true);
}

// The second check reads no attribute and makes no key: what is left is the RSA operation.
TEST_F(VerifyManagerTest, SecondCheckNeedsTheAttributesNoMore)
{
    ASSERT_EQ(Init(key), 0U);
    SetGoodData();
    ExpectResult(true);
    RemoveAttribute(ObjectOf(key), CKA_MODULUS);
    RemoveAttribute(ObjectOf(key), CKA_PUBLIC_EXPONENT);
    ExpectResult(true);
    manager.SetData(Value(Sign({'x'})), Value({'x'}));
    ExpectResult(true);
    manager.SetData(Value(signature), Value({'x'}));
    ExpectResult(false);
}

TEST_F(VerifyManagerTest, InitForgetsWhatWasMadeOfTheKey)
{
    ASSERT_EQ(Init(key), 0U);
    SetGoodData();
    ExpectResult(true);
    const auto& other = *OtherRsaKey().GetPublicKey();
    ASSERT_EQ(Init(AddKey(TakeBytes(other.Get_N()), TakeBytes(other.Get_E()))), 0U);
    SetGoodData();
    ExpectResult(false);
}

TEST_F(VerifyManagerTest, KeyOutlivesItsPlaceInTheStore)
{
    ASSERT_EQ(Init(key), 0U);
    Cache().RemoveCardToken("Reader");
    SetGoodData();
    ExpectResult(true);
}
