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

TEST_F(VerifyManagerTest, InitDropsTheDataOfBefore)
{
    ASSERT_EQ(Init(key), CKR_OK);
    SetGoodData();
    ASSERT_EQ(Init(key), CKR_OK);
    EXPECT_EQ(manager.signature, nullptr);
    EXPECT_EQ(manager.message, nullptr);
}

TEST_F(VerifyManagerTest, WithoutDataNothingIsWritten)
{
    ASSERT_EQ(Init(key), CKR_OK);
    LogCapture log;
    ExpectNoResult();
    EXPECT_EQ(log.MessagesOf(verifyFunction), Messages(2, Leaving("20 CKR_DATA_INVALID")));
}

TEST_F(VerifyManagerTest, PartsThatMakeNoKeyWriteNothing)
{
    for (const CK_ATTRIBUTE_TYPE type : {CKA_MODULUS, CKA_PUBLIC_EXPONENT}) {
        const CK_OBJECT_HANDLE bad = AddKey(TestKeyParts().modulus, TestKeyParts().exponent);
        RemoveAttribute(ObjectOf(bad), type);
        ASSERT_EQ(Init(bad), CKR_OK);
        SetGoodData();
        LogCapture log;
        ExpectNoResult();
        EXPECT_EQ(log.MessagesOf(verifyFunction), Messages(2, Leaving("6 CKR_FUNCTION_FAILED")));
    }
}

// The second check reads no attribute and makes no key: what is left is the RSA operation.
TEST_F(VerifyManagerTest, SecondCheckNeedsTheAttributesNoMore)
{
    ASSERT_EQ(Init(key), CKR_OK);
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
    ASSERT_EQ(Init(key), CKR_OK);
    SetGoodData();
    ExpectResult(true);
    const auto& other = *OtherRsaKey().GetPublicKey();
    ASSERT_EQ(Init(AddKey(TakeBytes(other.Get_N()), TakeBytes(other.Get_E()))), CKR_OK);
    SetGoodData();
    ExpectResult(false);
}
