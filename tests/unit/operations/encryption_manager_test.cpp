#include "src/operations/encryption_manager.h"

#include "tests/unit/crypto/rsa_test_keys.h"
#include "tests/unit/operations/rsa_store_fixture.h"

namespace {

constexpr char encryptFunction[] = "EncryptionManager::Encrypt";
using Messages = std::vector<std::string>;

class EncryptionManagerTest : public RsaStoreTest
{
protected:
    CK_RV Init(CK_OBJECT_HANDLE handle) { return manager.Init(session, &mechanism, handle); }

    CK_RV Encrypt(const Bytes& data, std::size_t room = 128)
    {
        manager.SetData(Value(data));
        output = Value(Bytes(room, 0xEE));
        return manager.Encrypt(*output);
    }

    Bytes Output() const { return {output->data, output->data + output->length}; }

    const CK_OBJECT_HANDLE key = AddKey(TestKeyParts().modulus, TestKeyParts().exponent);
    EncryptionManager manager;
    std::unique_ptr<HexBinary> output;
};

} // namespace

TEST_F(EncryptionManagerTest, WithoutDataThereIsNothingToEncrypt)
{
    ASSERT_EQ(Init(key), CKR_OK);
    LogCapture log;
    output = Value(Bytes(128));
    EXPECT_EQ(manager.Encrypt(*output), CKR_DATA_INVALID);
    EXPECT_EQ(log.MessagesOf(encryptFunction), Messages{Leaving("20 CKR_DATA_INVALID")});
}

TEST_F(EncryptionManagerTest, InitDropsTheDataOfBefore)
{
    ASSERT_EQ(Init(key), CKR_OK);
    ASSERT_EQ(Encrypt({1}), CKR_OK);
    EXPECT_EQ(manager.inputData->length, 1) << "kept until then";
    ASSERT_EQ(Init(key), CKR_OK);
    EXPECT_EQ(manager.inputData, nullptr);
}

TEST_F(EncryptionManagerTest, TooLongDataAreRefusedBeforeTheKeyIsRead)
{
    ASSERT_EQ(Init(key), CKR_OK);
    RemoveAttribute(ObjectOf(key), CKA_MODULUS);
    EXPECT_EQ(Encrypt(Bytes(118, 1)), CKR_DATA_LEN_RANGE);
    EXPECT_EQ(Encrypt(Bytes(117, 1)), CKR_FUNCTION_FAILED);
}

TEST_F(EncryptionManagerTest, UnreadableLengthLetsAnyDataPass)
{
    ASSERT_EQ(Init(key), CKR_OK);
    RemoveAttribute(ObjectOf(key), CKA_MODULUS_BITS);
    uint32_t length = 5;
    EXPECT_EQ(manager.GetLength(length), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Encrypt({1, 2}), CKR_OK);
    EXPECT_EQ(Encrypt(Bytes(126, 1)), CKR_DATA_LEN_RANGE) << "the block has no room";
}

TEST_F(EncryptionManagerTest, KeyWhoseTwoLengthsDisagreeIsRefusedByTheBlock)
{
    ASSERT_EQ(Init(key), CKR_OK);
    SetAttribute(ObjectOf(key), CKA_MODULUS_BITS, NumberBytes(4096));
    LogCapture log;
    EXPECT_EQ(Encrypt(Bytes(200, 1)), CKR_DATA_LEN_RANGE);
    EXPECT_EQ(log.MessagesOf(encryptFunction), Messages{Leaving("21 CKR_DATA_LEN_RANGE")});
}

TEST_F(EncryptionManagerTest, ObjectWithoutTheAttributesIsRefused)
{
    ASSERT_EQ(Init(key), CKR_OK);
    manager.operation.keyObject = Cache().GetObject(AddCertificate(card.ordinarySlot));
    LogCapture log;
    EXPECT_EQ(Encrypt({1}), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(log.MessagesOf(encryptFunction), Messages{Leaving("12 CKR_ATTRIBUTE_TYPE_INVALID")});
}

TEST_F(EncryptionManagerTest, PartsThatMakeNoKeyFailTheFunction)
{
    ASSERT_EQ(Init(key), CKR_OK);
    SetAttribute(ObjectOf(key), CKA_PUBLIC_EXPONENT, {});
    LogCapture log;
    EXPECT_EQ(Encrypt({1}), CKR_FUNCTION_FAILED);
    EXPECT_EQ(log.MessagesOf(encryptFunction), Messages{Leaving("6 CKR_FUNCTION_FAILED")});
}

TEST_F(EncryptionManagerTest, ResultIsCutToTheOutputAndNoFurther)
{
    ASSERT_EQ(Init(key), CKR_OK);
    ASSERT_EQ(Encrypt({1}, 100), CKR_OK);
    EXPECT_EQ(Output().size(), 100U);
    ASSERT_EQ(Encrypt({1}, 140), CKR_OK);
    EXPECT_EQ(Bytes(output->data + 128, output->data + 140), Bytes(12, 0xEE));
    ASSERT_EQ(Encrypt({1}, 0), CKR_OK);
}
