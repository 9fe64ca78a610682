#include "src/operations/decryption_manager.h"

#include "tests/unit/card/stub_card.h"
#include "tests/unit/operations/rsa_store_fixture.h"

namespace {

constexpr char decryptFunction[] = "DecryptionManager::Decrypt";
using Messages = std::vector<std::string>;

class DecryptionManagerTest : public RsaStoreTest
{
protected:
    DecryptionManagerTest() { StubCard().signature = {'p', 'l', 'a', 'i', 'n'}; }

    CK_RV Init(CK_OBJECT_HANDLE handle) { return manager.Init(session, &mechanism, handle); }

    CK_RV Decrypt(const Bytes& data)
    {
        const auto value = Value(data);
        manager.SetData(*value);
        output = Value(Bytes(data.size(), 0xEE));
        outputLength = 77;
        return manager.Decrypt(*output, outputLength);
    }

    Bytes Output() const { return {output->data, output->data + output->length}; }

    // A certificate object with this number and the id of the key.
    void AddMatch(uint32_t certificateIndex)
    {
        auto& object = ObjectOf(AddCertificate(card.qualifiedSlot));
        object.certificateIndex = certificateIndex;
        SetAttribute(object, CKA_ID, AttributeOf(ObjectOf(key), CKA_ID));
    }

    const CK_OBJECT_HANDLE key = AddPrivateKey(card.ordinarySlot, 1);
    DecryptionManager manager;
    std::unique_ptr<HexBinary> output;
    uint32_t outputLength = 0;
};

} // namespace

TEST_F(DecryptionManagerTest, InitDropsTheDataOfBefore)
{
    manager.SetData(*Value({1, 2}));
    ASSERT_EQ(Init(key), CKR_OK);
    EXPECT_EQ(manager.inputData, nullptr);
}

TEST_F(DecryptionManagerTest, WithoutDataThereIsNothingToDecrypt)
{
    ASSERT_EQ(Init(key), CKR_OK);
    LogCapture log;
    output = Value({});
    outputLength = 77;
    EXPECT_EQ(manager.Decrypt(*output, outputLength), CKR_DATA_INVALID);
    EXPECT_EQ(outputLength, 0U);
    EXPECT_EQ(log.MessagesOf(decryptFunction), Messages{Leaving("20 CKR_DATA_INVALID")});
}

TEST_F(DecryptionManagerTest, ObjectOfNoKindHasNoId)
{
    ASSERT_EQ(Init(key), CKR_OK);
    manager.operation.keyObject = std::make_shared<PkcsObject>(0, 1, card.ordinarySlot);
    LogCapture log;
    EXPECT_EQ(Decrypt({1}), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(log.MessagesOf(decryptFunction), Messages{Leaving("12 CKR_ATTRIBUTE_TYPE_INVALID")});
}

TEST_F(DecryptionManagerTest, LastOfSeveralCertificatesCounts)
{
    AddMatch(3);
    AddMatch(6);
    AddCertificate(card.qualifiedSlot);
    ASSERT_EQ(Init(key), CKR_OK);
    EXPECT_EQ(Decrypt({1}), CKR_OK);
    EXPECT_EQ(StubCard().signCalls[0].lastArgument, 6U);
    AddMatch(2);
    EXPECT_EQ(Decrypt({1}), CKR_OK);
    EXPECT_EQ(StubCard().signCalls[1].lastArgument, 2U);
}

TEST_F(DecryptionManagerTest, KeyOrCertificateObjectsWithoutAnIdMatchEachOther)
{
    RemoveAttribute(ObjectOf(key), CKA_ID);
    RemoveAttribute(ObjectOf(AddCertificate(card.ordinarySlot)), CKA_ID);
    ASSERT_EQ(Init(key), CKR_OK);
    EXPECT_EQ(Decrypt({1}), CKR_OK);
}

TEST_F(DecryptionManagerTest, CardThatHasGoneGivesNoBytesAndNoFailure)
{
    AddMatch(0);
    const StoredCard other = AddCard("Other Reader", 62);
    const CK_SESSION_HANDLE otherSession = AddSession(other.ordinarySlot);
    ASSERT_EQ(manager.Init(otherSession, &mechanism, key), CKR_OK);
    Cache().RemoveCardToken("Other Reader");
    LogCapture log;
    EXPECT_EQ(Decrypt({1, 2, 3}), CKR_OK);
    EXPECT_EQ(outputLength, 0U);
    EXPECT_EQ(Output(), Bytes(3, 0xEE));
    EXPECT_EQ(log.MessagesOf(decryptFunction), Messages{Leaving("0 CKR_OK")});
    EXPECT_TRUE(StubCard().signCalls.empty());
}

TEST_F(DecryptionManagerTest, LengthThatTheCardMakesUpIsNotBelieved)
{
    AddMatch(0);
    ASSERT_EQ(Init(key), CKR_OK);
    StubCard().signature = Bytes(4, 'x');
    for (const uint32_t announced : {4U, 5U, 100000U, 0xFFFFFFFFU}) {
        StubCard().announcedLength = announced;
        EXPECT_EQ(Decrypt({1, 2, 3}), CKR_OK);
        EXPECT_EQ(outputLength, 3U) << announced;
        EXPECT_EQ(Output(), Bytes(3, 'x'));
    }
}
