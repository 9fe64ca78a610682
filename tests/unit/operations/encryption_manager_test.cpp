#include "src/operations/encryption_manager.h"

#include "tests/unit/crypto/rsa_test_keys.h"
#include "tests/unit/operations/rsa_store_fixture.h"

#include <botan/numthry.h>
#include <botan/reducer.h>
#include <botan/rsa.h>

#include <algorithm>

namespace {

constexpr char encryptFunction[] = "EncryptionManager::Encrypt";
constexpr char lengthLine[] = "EncryptionManager::GetLength going to retrieve CKA_MODULUS_BITS attribute";
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

    Bytes Block() const
    {
        const auto& privateKey = *TestRsaKey().GetBotanPrivateKey();
        const auto block = Botan::power_mod(Botan::BigInt(Output()), privateKey.get_d(), privateKey.get_n());
        const auto encoded = Botan::BigInt::encode_1363(block, 128);
        return {encoded.begin(), encoded.end()};
    }

    const CK_OBJECT_HANDLE key = AddKey(TestKeyParts().modulus, TestKeyParts().exponent);
    EncryptionManager manager;
    std::unique_ptr<HexBinary> output;
};

} // namespace

TEST_F(EncryptionManagerTest, StartsWithNothing)
{
    EXPECT_EQ(manager.inputData, nullptr);
    EXPECT_EQ(manager.operation.keyObject, nullptr);
    EXPECT_FALSE(manager.operation.active);
}

TEST_F(EncryptionManagerTest, WithoutDataThereIsNothingToEncrypt)
{
    ASSERT_EQ(Init(key), 0U);
    LogCapture log;
    output = Value(Bytes(128));
    EXPECT_EQ(manager.Encrypt(*output), CKR_DATA_INVALID);
    EXPECT_EQ(log.MessagesOf(encryptFunction), Messages{Leaving("20 CKR_DATA_INVALID")});
}

TEST_F(EncryptionManagerTest, InitDropsTheDataOfBefore)
{
    ASSERT_EQ(Init(key), 0U);
    ASSERT_EQ(Encrypt({1}), 0U);
    EXPECT_EQ(manager.inputData->length, 1) << "kept until then";
    ASSERT_EQ(Init(key), 0U);
    EXPECT_EQ(manager.inputData, nullptr);
}

TEST_F(EncryptionManagerTest, EncryptsABlockOfTypeTwo)
{
    ASSERT_EQ(Init(key), 0U);
    ASSERT_EQ(Encrypt({7, 0, 9}), 0U);
    const Bytes block = Block();
    EXPECT_EQ(Bytes(block.begin(), block.begin() + 2), (Bytes{0, 2}));
    EXPECT_EQ(std::count(block.begin() + 2, block.end() - 4, 0), 0);
    EXPECT_EQ(Bytes(block.end() - 4, block.end()), (Bytes{0, 7, 0, 9}));
}

TEST_F(EncryptionManagerTest, LengthIsLoggedOnceInTheEncryption)
{
    ASSERT_EQ(Init(key), 0U);
    LogCapture log;
    ASSERT_EQ(Encrypt({1}), 0U);
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].function, "EncryptionManager::GetLength");
    EXPECT_EQ(lines[0].message, lengthLine);
    EXPECT_EQ(lines[1].function, encryptFunction);
    EXPECT_EQ(lines[1].message, Leaving("0 CKR_OK"));
}

TEST_F(EncryptionManagerTest, TooLongDataAreRefusedBeforeTheKeyIsRead)
{
    ASSERT_EQ(Init(key), 0U);
    RemoveAttribute(ObjectOf(key), CKA_MODULUS);
    EXPECT_EQ(Encrypt(Bytes(118, 1)), CKR_DATA_LEN_RANGE);
    EXPECT_EQ(Encrypt(Bytes(117, 1)), CKR_FUNCTION_FAILED);
}

TEST_F(EncryptionManagerTest, UnreadableLengthLetsAnyDataPass)
{
    ASSERT_EQ(Init(key), 0U);
    RemoveAttribute(ObjectOf(key), CKA_MODULUS_BITS);
    uint32_t length = 5;
    EXPECT_EQ(manager.GetLength(length), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Encrypt({1, 2}), 0U);
    EXPECT_EQ(Encrypt(Bytes(126, 1)), CKR_DATA_LEN_RANGE) << "the block has no room";
}

TEST_F(EncryptionManagerTest, KeyWhoseTwoLengthsDisagreeIsRefusedByTheBlock)
{
    ASSERT_EQ(Init(key), 0U);
    SetAttribute(ObjectOf(key), CKA_MODULUS_BITS, NumberBytes(4096));
    LogCapture log;
    EXPECT_EQ(Encrypt(Bytes(200, 1)), CKR_DATA_LEN_RANGE);
    EXPECT_EQ(log.MessagesOf(encryptFunction), Messages{Leaving("21 CKR_DATA_LEN_RANGE")});
}

TEST_F(EncryptionManagerTest, ObjectWithoutTheAttributesIsRefused)
{
    ASSERT_EQ(Init(key), 0U);
    manager.operation.keyObject = Cache().GetObject(AddCertificate(card.ordinarySlot));
    LogCapture log;
    EXPECT_EQ(Encrypt({1}), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(log.MessagesOf(encryptFunction), Messages{Leaving("12 CKR_ATTRIBUTE_TYPE_INVALID")});
}

TEST_F(EncryptionManagerTest, WithoutAKeyTheFunctionFails)
{
    EXPECT_EQ(Init(99), CKR_KEY_HANDLE_INVALID);
    EXPECT_EQ(Encrypt({1}), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Encrypt(Bytes(1000, 1)), CKR_FUNCTION_FAILED);
}

TEST_F(EncryptionManagerTest, PartsThatMakeNoKeyFailTheFunction)
{
    ASSERT_EQ(Init(key), 0U);
    SetAttribute(ObjectOf(key), CKA_PUBLIC_EXPONENT, {});
    LogCapture log;
    EXPECT_EQ(Encrypt({1}), CKR_FUNCTION_FAILED);
    EXPECT_EQ(log.MessagesOf(encryptFunction), Messages{Leaving("6 CKR_FUNCTION_FAILED")});
}

TEST_F(EncryptionManagerTest, ResultIsCutToTheOutputAndNoFurther)
{
    ASSERT_EQ(Init(key), 0U);
    ASSERT_EQ(Encrypt({1}, 100), 0U);
    EXPECT_EQ(Output().size(), 100U);
    ASSERT_EQ(Encrypt({1}, 140), 0U);
    EXPECT_EQ(Bytes(output->data + 128, output->data + 140), Bytes(12, 0xEE));
    ASSERT_EQ(Encrypt({1}, 0), 0U);
}
