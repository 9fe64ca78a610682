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

TEST_F(DecryptionManagerTest, StartsWithNothing)
{
    EXPECT_EQ(manager.inputData, nullptr);
    EXPECT_EQ(manager.operation.keyObject, nullptr);
    EXPECT_FALSE(manager.operation.active);
}

TEST_F(DecryptionManagerTest, InitLogsItsLeavingLineForSuccess)
{
    LogCapture log;
    EXPECT_EQ(Init(key), 0U);
    EXPECT_EQ(log.MessagesOf("DecryptionManager::Init"),
              (Messages{"DecryptionManager::Init private key found",
                        "DecryptionManager::Init private key has Decrypt attribute", Leaving("0 CKR_OK")}));
}

TEST_F(DecryptionManagerTest, SetDataPutsAPrefixInFrontAndCopies)
{
    auto data = Value({1, 2});
    manager.SetData(*data);
    data = nullptr;
    EXPECT_EQ(Bytes(manager.inputData->data, manager.inputData->data + manager.inputData->length),
              (Bytes{0x81, 1, 2}));
    manager.SetData(*Value({}));
    EXPECT_EQ(manager.inputData->length, 1);
}

TEST_F(DecryptionManagerTest, InitDropsTheDataOfBefore)
{
    manager.SetData(*Value({1, 2}));
    ASSERT_EQ(Init(key), 0U);
    EXPECT_EQ(manager.inputData, nullptr);
}

TEST_F(DecryptionManagerTest, WithoutDataThereIsNothingToDecrypt)
{
    ASSERT_EQ(Init(key), 0U);
    LogCapture log;
    output = Value({});
    outputLength = 77;
    EXPECT_EQ(manager.Decrypt(*output, outputLength), CKR_DATA_INVALID);
    EXPECT_EQ(outputLength, 0U);
    EXPECT_EQ(log.MessagesOf(decryptFunction), Messages{Leaving("20 CKR_DATA_INVALID")});
}

TEST_F(DecryptionManagerTest, WithoutAKeyTheFunctionFails)
{
    EXPECT_EQ(Init(99), CKR_KEY_HANDLE_INVALID);
    LogCapture log;
    EXPECT_EQ(Decrypt({1}), CKR_FUNCTION_FAILED);
    EXPECT_EQ(outputLength, 0U);
    EXPECT_EQ(log.MessagesOf(decryptFunction), Messages{Leaving("6 CKR_FUNCTION_FAILED")});
}

TEST_F(DecryptionManagerTest, ObjectOfNoKindHasNoId)
{
    ASSERT_EQ(Init(key), 0U);
    manager.operation.keyObject = std::make_shared<PkcsObject>(0, 1, card.ordinarySlot);
    LogCapture log;
    EXPECT_EQ(Decrypt({1}), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(log.MessagesOf(decryptFunction), Messages{Leaving("12 CKR_ATTRIBUTE_TYPE_INVALID")});
}

TEST_F(DecryptionManagerTest, KeyWithoutACertificateIsRefused)
{
    AddCertificate(card.qualifiedSlot); // of another id
    ASSERT_EQ(Init(key), 0U);
    LogCapture log;
    EXPECT_EQ(Decrypt({1}), CKR_KEY_HANDLE_INVALID);
    EXPECT_EQ(log.MessagesOf(decryptFunction),
              (Messages{"DecryptionManager::Decrypt cannot find certificate to private key handle",
                        Leaving("60 CKR_KEY_HANDLE_INVALID")}));
    EXPECT_TRUE(StubCard().signCalls.empty());
}

TEST_F(DecryptionManagerTest, CardDecryptsWithTheNumberOfTheCertificate)
{
    AddMatch(5);
    ASSERT_EQ(Init(key), 0U);
    EXPECT_EQ(Decrypt({1, 2, 3, 4, 5, 6}), 0U);
    EXPECT_EQ(outputLength, 5U);
    EXPECT_EQ(Output(), (Bytes{'p', 'l', 'a', 'i', 'n', 0xEE}));
    ASSERT_EQ(StubCard().signCalls.size(), 1U);
    const StubSignCall& call = StubCard().signCalls[0];
    EXPECT_EQ(call.function, "ES_DecryptData");
    EXPECT_EQ(call.session, cardSession);
    EXPECT_EQ(call.data, (Bytes{0x81, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(call.capacity, 7U);
    EXPECT_EQ(call.lastArgument, 5U);
}

TEST_F(DecryptionManagerTest, LastOfSeveralCertificatesCounts)
{
    AddMatch(3);
    AddMatch(6);
    AddCertificate(card.qualifiedSlot);
    ASSERT_EQ(Init(key), 0U);
    EXPECT_EQ(Decrypt({1}), 0U);
    EXPECT_EQ(StubCard().signCalls[0].lastArgument, 6U);
    AddMatch(2);
    EXPECT_EQ(Decrypt({1}), 0U);
    EXPECT_EQ(StubCard().signCalls[1].lastArgument, 2U);
}

TEST_F(DecryptionManagerTest, CertificatesOfAllCardsAreLookedThrough)
{
    const StoredCard other = AddCard("Other Reader", 62);
    auto& object = ObjectOf(AddCertificate(other.ordinarySlot));
    SetAttribute(object, CKA_ID, AttributeOf(ObjectOf(key), CKA_ID));
    object.certificateIndex = 4;
    ASSERT_EQ(Init(key), 0U);
    EXPECT_EQ(Decrypt({1}), 0U);
    EXPECT_EQ(StubCard().signCalls[0].lastArgument, 4U);
    EXPECT_EQ(StubCard().signCalls[0].session, cardSession) << "the session's card decrypts";
}

TEST_F(DecryptionManagerTest, KeyOrCertificateObjectsWithoutAnIdMatchEachOther)
{
    RemoveAttribute(ObjectOf(key), CKA_ID);
    RemoveAttribute(ObjectOf(AddCertificate(card.ordinarySlot)), CKA_ID);
    ASSERT_EQ(Init(key), 0U);
    EXPECT_EQ(Decrypt({1}), 0U);
}

TEST_F(DecryptionManagerTest, FailureOfTheCardFailsTheFunction)
{
    AddMatch(0);
    ASSERT_EQ(Init(key), 0U);
    StubCard().signStatus = 9;
    LogCapture log;
    EXPECT_EQ(Decrypt({1, 2, 3}), CKR_FUNCTION_FAILED);
    EXPECT_EQ(outputLength, 0U);
    EXPECT_EQ(Output(), Bytes(3, 0xEE));
    EXPECT_EQ(log.MessagesOf(decryptFunction), Messages{Leaving("6 CKR_FUNCTION_FAILED")});
}

TEST_F(DecryptionManagerTest, CardThatHasGoneGivesNoBytesAndNoFailure)
{
    AddMatch(0);
    const StoredCard other = AddCard("Other Reader", 62);
    const CK_SESSION_HANDLE otherSession = AddSession(other.ordinarySlot);
    ASSERT_EQ(manager.Init(otherSession, &mechanism, key), 0U);
    Cache().RemoveCardToken("Other Reader");
    LogCapture log;
    EXPECT_EQ(Decrypt({1, 2, 3}), 0U);
    EXPECT_EQ(outputLength, 0U);
    EXPECT_EQ(Output(), Bytes(3, 0xEE));
    EXPECT_EQ(log.MessagesOf(decryptFunction), Messages{Leaving("0 CKR_OK")});
    EXPECT_TRUE(StubCard().signCalls.empty());
}

TEST_F(DecryptionManagerTest, LengthThatTheCardMakesUpIsNotBelieved)
{
    AddMatch(0);
    ASSERT_EQ(Init(key), 0U);
    StubCard().signature = Bytes(4, 'x');
    for (const uint32_t announced : {4U, 5U, 100000U, 0xFFFFFFFFU}) {
        StubCard().announcedLength = announced;
        EXPECT_EQ(Decrypt({1, 2, 3}), 0U);
        EXPECT_EQ(outputLength, 3U) << announced;
        EXPECT_EQ(Output(), Bytes(3, 'x'));
    }
}
