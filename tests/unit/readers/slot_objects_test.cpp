#include "src/readers/slot_objects.h"

#include "tests/unit/card/stub_card.h"
#include "tests/unit/log/log_capture.h"
#include "tests/unit/store/store_fixture.h"

#include <algorithm>

namespace {

class SlotObjectsTest : public StoreTest
{
protected:
    // What the card holds for either key family: `certificates` as they are and a key record for each.
    static void SetCertificates(const std::vector<Bytes>& certificates)
    {
        StubCard().certificates = certificates;
        StubCard().certificateCount = static_cast<uint32_t>(certificates.size());
        StubCard().keys.clear();
        for (uint32_t i = 0; i < certificates.size(); ++i) {
            StubCard().keys.push_back(MakeKeyInfo(i + 1, 1024));
        }
    }
};

} // namespace

TEST_F(SlotObjectsTest, AsksTheFamilyOfTheSlot)
{
    const auto card = AddCard("Reader", 42);
    CreateSlotObjects(card.qualifiedSlot);
    EXPECT_EQ(StubCard().calls, std::vector<std::string>{"QES_GetCertificates 42"});
    CreateSlotObjects(card.ordinarySlot);
    EXPECT_EQ(StubCard().calls.back(), "ES_GetCertificates 42");
}

TEST_F(SlotObjectsTest, DoesNothingForAnotherLabel)
{
    const auto card = AddCard("Reader", 42);
    LogCapture log;
    const auto slotId = AddSlot(card.tokenId, "Sig_ZEP2");
    CreateSlotObjects(slotId);
    EXPECT_TRUE(StubCard().calls.empty());
    EXPECT_TRUE(log.MessagesOf("CreateSlotObjects").empty());
}

TEST_F(SlotObjectsTest, MakesACertificateAndAKeyOfEachEntry)
{
    const auto card = AddCard("Reader", 42);
    SetCertificates({EncodeCertificate({}), EncodeCertificate({})});
    CreateSlotObjects(card.qualifiedSlot);
    const auto records = Cache().GetObjectsOfSlot(card.qualifiedSlot);
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(records[0]->kind, certificateKind);
    EXPECT_EQ(records[1]->kind, certificateKind);
    EXPECT_EQ(records[2]->kind, privateKeyKind);
    EXPECT_EQ(records[2]->keyReference, 1U);
    EXPECT_EQ(records[3]->keyReference, 2U);
    EXPECT_TRUE(Cache().GetObjectsOfSlot(card.ordinarySlot).empty());
}

TEST_F(SlotObjectsTest, LeavesOutACertificateThatCannotBeParsed)
{
    const auto card = AddCard("Reader", 42);
    SetCertificates({EncodeCertificate({}), {0x30, 0x03, 0x01}, EncodeCertificate({})});
    LogCapture log;
    CreateSlotObjects(card.ordinarySlot);
    const auto lines = log.Lines();
    const LoggedLine failed{" ERR", "Parsing certificate number: 1 for Sig_EP slot failed",
                            "CreateSlotObjects", ""};
    EXPECT_EQ(std::count(lines.begin(), lines.end(), failed), 1);
    const auto records = Cache().GetObjectsOfSlot(card.ordinarySlot);
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(AttributeOf(*records[1], CKA_ID), TextBytes("Sig_EP_1"));
    EXPECT_EQ(records[1]->certificateIndex, 1U);
    EXPECT_EQ(AttributeOf(*records[3], CKA_ID), TextBytes("Sig_EP_1"));
    EXPECT_EQ(records[3]->keyReference, 3U);
}

TEST_F(SlotObjectsTest, MakesNothingWhenTheCardFailsAndSucceedsLater)
{
    const auto card = AddCard("Reader", 42);
    SetCertificates({EncodeCertificate({})});
    StubCard().certificateStatus = 24;
    CreateSlotObjects(card.qualifiedSlot);
    EXPECT_TRUE(Cache().GetObjectsOfSlot(card.qualifiedSlot).empty());
    StubCard().certificateStatus = 0;
    CreateSlotObjects(card.qualifiedSlot);
    EXPECT_EQ(Cache().GetObjectsOfSlot(card.qualifiedSlot).size(), 2U);
}

TEST_F(SlotObjectsTest, MakesNothingOfAnEmptyCard)
{
    const auto card = AddCard("Reader", 42);
    LogCapture log;
    CreateSlotObjects(card.ordinarySlot);
    EXPECT_EQ(
        log.MessagesOf("CreateSlotObjects"),
        (std::vector<std::string>{"CardAPI_QES_GetCertificates call end", "Creating slot objects end"}));
    EXPECT_TRUE(Cache().GetObjectsOfSlot(card.ordinarySlot).empty());
}

TEST_F(SlotObjectsTest, LogsTooManyCertificates)
{
    const auto card = AddCard("Reader", 42);
    StubCard().certificateStatus = 1; // so that none of them is looked at
    StubCard().certificateCount = 9;
    LogCapture log;
    CreateSlotObjects(card.ordinarySlot);
    const auto messages = log.MessagesOf("CreateSlotObjects");
    EXPECT_EQ(
        std::count(messages.begin(), messages.end(), "NumOfCerts is greater then MAX_CERTIFICATES_BUFFER..."),
        1);
}

TEST_F(SlotObjectsTest, LogsItsSteps)
{
    const auto card = AddCard("Reader", 42);
    SetCertificates({EncodeCertificate({})});
    LogCapture log;
    CreateSlotObjects(card.ordinarySlot);
    EXPECT_EQ(log.MessagesOf("CreateSlotObjects"),
              (std::vector<std::string>{"CardAPI_QES_GetCertificates call end",
                                        "Going to parse X509 certificate", "Certificate data going to parse",
                                        "X509 certificate parsed", "Creating slot objects end"}));
}

TEST_F(SlotObjectsTest, PositionsOfCertificatesAndKeysAgree)
{
    const auto card = AddCard("Reader", 42);
    SetCertificates(std::vector<Bytes>(8, EncodeCertificate({})));
    CreateSlotObjects(card.ordinarySlot);
    const auto objects = Cache().GetObjectsOfSlot(card.ordinarySlot);
    ASSERT_EQ(objects.size(), 16U);
    for (uint32_t i = 0; i < 8; ++i) {
        EXPECT_EQ(AttributeOf(*objects[i], CKA_ID), TextBytes("Sig_EP_" + std::to_string(i)));
        EXPECT_EQ(AttributeOf(*objects[i + 8], CKA_ID), TextBytes("Sig_EP_" + std::to_string(i)));
        EXPECT_EQ(objects[i]->certificateIndex, i);
    }
}

TEST_F(SlotObjectsTest, OnlyTheModulusOfAPrivateKeyIsReversed)
{
    const auto card = AddCard("Reader", 42);
    SetCertificates({EncodeCertificate({})});
    CreateSlotObjects(card.ordinarySlot);
    const auto keyInfo = MakeKeyInfo(1, 1024);
    const Bytes modulus(keyInfo.modulus, keyInfo.modulus + keyInfo.modulusLength);
    const auto objects = Cache().GetObjectsOfSlot(card.ordinarySlot);
    ASSERT_EQ(objects.size(), 2U);
    EXPECT_EQ(AttributeOf(*objects[1], CKA_MODULUS), Bytes(modulus.rbegin(), modulus.rend()));
    EXPECT_EQ(AttributeOf(*objects[1], CKA_PUBLIC_EXPONENT), (Bytes{1, 0, 3}));
    const auto publicKey = AddPublicKeyObject(card.ordinarySlot, keyInfo, CK_TRUE);
    EXPECT_EQ(AttributeOf(*Cache().GetObject(publicKey), CKA_MODULUS), modulus);
}

TEST_F(SlotObjectsTest, LengthBeyondTheFieldsOfAKeyRecordCountsAsTheirs)
{
    const auto card = AddCard("Reader", 42);
    auto keyInfo = MakeKeyInfo(1, 1024);
    keyInfo.modulusLength = UINT64_MAX;
    keyInfo.publicExponentLength = UINT64_MAX;
    const auto object = Cache().GetObject(AddPublicKeyObject(card.qualifiedSlot, keyInfo, CK_TRUE));
    EXPECT_EQ(AttributeOf(*object, CKA_MODULUS).size(), sizeof(keyInfo.modulus));
    EXPECT_EQ(AttributeOf(*object, CKA_PUBLIC_EXPONENT).size(), sizeof(keyInfo.publicExponent));
}

TEST_F(SlotObjectsTest, MakesNothingForARemovedSlot)
{
    const auto card = AddCard("Reader", 42);
    SetCertificates({EncodeCertificate({})});
    Cache().RemoveCardToken("Reader");
    CreateSlotObjects(card.qualifiedSlot);
    EXPECT_EQ(AddPublicKeyObject(card.qualifiedSlot, MakeKeyInfo(1, 1024), CK_TRUE), 0U);
    EXPECT_TRUE(Cache().GetObjects().empty());
}
