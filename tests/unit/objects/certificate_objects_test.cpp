// The objects that the store makes of certificates and key records.
#include "tests/unit/store/store_fixture.h"

#include "tests/unit/log/log_capture.h"

namespace {

using CertificateObjectsTest = StoreTest;

struct Expected
{
    CK_ATTRIBUTE_TYPE type;
    Bytes value;
};

void ExpectAttributes(const PkcsObject& object, const std::vector<Expected>& expected)
{
    ASSERT_EQ(object.attributes.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(object.attributes[i]->type, expected[i].type) << "at " << i;
        EXPECT_EQ(object.attributes[i]->GetBytes(), expected[i].value) << "at " << i;
    }
}

// 1, 2, 3 and so on, as MakeKeyInfo fills a modulus.
Bytes Rising(std::size_t count)
{
    Bytes bytes;
    bytes.reserve(count);
    for (std::size_t i = 1; i <= count; ++i) {
        bytes.push_back(static_cast<uint8_t>(i));
    }
    return bytes;
}

Bytes Falling(std::size_t count)
{
    const Bytes rising = Rising(count);
    return {rising.rbegin(), rising.rend()};
}

std::vector<Expected> PrivateKeyAttributes(const std::string& idText, bool ordinary)
{
    const auto flag = [](bool value) { return Bytes{static_cast<uint8_t>(value)}; };
    return {{0x0, NumberBytes(3)},
            {0x102, TextBytes(idText)},
            {0x3, TextBytes("Signing Key")},
            {0x100, NumberBytes(0)},
            {0x101, CertificateContents().subject},
            {0x1, flag(true)},
            {0x162, flag(false)},
            {0x103, flag(true)},
            {0x2, flag(true)},
            {0x122, {0x01, 0x00, 0x03}},
            {0x120, Falling(128)},
            {0x121, NumberBytes(1024)},
            {0x108, flag(true)},
            {0x202, flag(!ordinary)},
            {0x104, flag(ordinary)},
            {0x105, flag(ordinary)},
            {0x164, flag(true)}};
}

std::vector<Expected> PublicKeyAttributes(const std::string& idText, bool ordinary, uint8_t verify)
{
    const auto flag = [](bool value) { return Bytes{static_cast<uint8_t>(value)}; };
    return {{0x0, NumberBytes(2)},   {0x102, TextBytes(idText)}, {0x3, TextBytes("Public Key")},
            {0x100, NumberBytes(0)}, {0x1, flag(false)},         {0x162, flag(false)},
            {0x103, flag(false)},    {0x2, flag(false)},         {0x122, {0x01, 0x00, 0x03}},
            {0x120, Rising(128)},    {0x121, NumberBytes(1024)}, {0x108, flag(false)},
            {0x202, flag(false)},    {0x104, flag(ordinary)},    {0x105, flag(ordinary)},
            {0x164, flag(false)},    {0x10A, {verify}}};
}

} // namespace

TEST_F(CertificateObjectsTest, CertificateHasItsThirteenAttributes)
{
    const auto card = AddCard("Reader", 1);
    const CertificateContents contents;
    const auto object = Cache().GetObject(AddCertificate(card.qualifiedSlot));
    EXPECT_EQ(object->kind, 2U);
    EXPECT_EQ(object->keyReference, 0U);
    EXPECT_EQ(object->certificateIndex, 0U);
    ExpectAttributes(*object, {{0x0, NumberBytes(1)},
                               {0x3, TextBytes("Signing Certificate")},
                               {0x102, TextBytes("Sig_ZEP_0")},
                               {0x80, NumberBytes(0)},
                               {0x1, {1}},
                               {0x86, {0}},
                               {0x2, {1}},
                               {0x101, contents.subject},
                               {0x11, EncodeCertificate(contents)},
                               {0x82, contents.serial},
                               {0x81, contents.issuer},
                               {0x110, TextBytes("20240305")},
                               {0x111, TextBytes("20341125")}});
}

TEST_F(CertificateObjectsTest, PrivateKeyOnTheQualifiedSlotSignsOnly)
{
    const auto card = AddCard("Reader", 1);
    const CK_OBJECT_HANDLE handle = Cache().privateKeyHandleCounter;
    Cache().AddPrivKeyObjects(card.qualifiedSlot, {MakeKeyInfo(2, 1024)}, MakeCertificates({{}}));
    const auto object = Cache().GetObject(handle);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->kind, 1U);
    EXPECT_EQ(object->keyReference, 2U);
    ExpectAttributes(*object, PrivateKeyAttributes("Sig_ZEP_0", false));
}

TEST_F(CertificateObjectsTest, PrivateKeyOnTheOrdinarySlotEncryptsAndDecryptsToo)
{
    const auto card = AddCard("Reader", 1);
    const CK_OBJECT_HANDLE handle = Cache().privateKeyHandleCounter;
    Cache().AddPrivKeyObjects(card.ordinarySlot, {MakeKeyInfo(5, 1024)}, MakeCertificates({{}}));
    const auto object = Cache().GetObject(handle);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->keyReference, 5U);
    ExpectAttributes(*object, PrivateKeyAttributes("Sig_EP_0", true));
}

TEST_F(CertificateObjectsTest, OnlyTheExactLabelMakesASlotTheOrdinaryOne)
{
    const auto card = AddCard("Reader", 1);
    const auto slotId = AddSlot(card.tokenId, "Sig_EP2");
    const CK_OBJECT_HANDLE handle = Cache().privateKeyHandleCounter;
    Cache().AddPrivKeyObjects(slotId, {MakeKeyInfo(5, 1024)}, MakeCertificates({{}}));
    ExpectAttributes(*Cache().GetObject(handle), PrivateKeyAttributes("Sig_EP2_0", false));
}

TEST_F(CertificateObjectsTest, PublicKeyKeepsTheModulusInItsOrder)
{
    const auto card = AddCard("Reader", 1);
    CK_OBJECT_HANDLE handle = 0;
    Cache().AddPubKeyObjects(card.qualifiedSlot, {MakeKeyInfo(0, 1024)}, handle, 1);
    EXPECT_EQ(Cache().GetObject(handle)->kind, 3U);
    ExpectAttributes(*Cache().GetObject(handle), PublicKeyAttributes("Sig_ZEP_0", false, 1));
    Cache().AddPubKeyObjects(card.ordinarySlot, {MakeKeyInfo(0, 1024)}, handle, 0);
    ExpectAttributes(*Cache().GetObject(handle), PublicKeyAttributes("Sig_EP_0", true, 0));
}

TEST_F(CertificateObjectsTest, SeveralPublicKeysOfASlotHaveTheSameId)
{
    const auto card = AddCard("Reader", 1);
    const auto first = AddPublicKey(card.qualifiedSlot);
    const auto second = AddPublicKey(card.qualifiedSlot);
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(AttributeOf(*Cache().GetObject(first), 0x102), AttributeOf(*Cache().GetObject(second), 0x102));
}

TEST_F(CertificateObjectsTest, LastOfSeveralPublicKeysIsTheHandleGivenBack)
{
    const auto card = AddCard("Reader", 1);
    const CK_OBJECT_HANDLE first = Cache().publicKeyHandleCounter;
    CK_OBJECT_HANDLE handle = 0;
    Cache().AddPubKeyObjects(card.qualifiedSlot, {MakeKeyInfo(7, 1024), MakeKeyInfo(8, 1024)}, handle, 1);
    EXPECT_EQ(handle, first + 1);
    EXPECT_EQ(Cache().GetObject(first)->keyReference, 7U);
    EXPECT_EQ(AttributeOf(*Cache().GetObject(handle), 0x102), TextBytes("Sig_ZEP_1"));
}

TEST_F(CertificateObjectsTest, PositionsOfCertificatesAndKeysAgree)
{
    const auto card = AddCard("Reader", 1);
    std::vector<CertificateContents> contents(11);
    contents[10].subject = FromHex("300F 310D 300B 0603550403 0C04 4C617374"); // CN=Last
    const auto certificates = MakeCertificates(contents);
    Cache().AddCertificateObjects(card.ordinarySlot, certificates);
    Cache().AddPrivKeyObjects(card.ordinarySlot, std::vector<CardKeyInfo>(11, MakeKeyInfo(1, 1024)),
                              certificates);
    const auto records = Cache().GetObjectRecordsOfSlot(card.ordinarySlot);
    ASSERT_EQ(records.size(), 22U);
    for (uint32_t i = 0; i < 11; ++i) {
        EXPECT_EQ(AttributeOf(*records[i], 0x102), TextBytes("Sig_EP_" + std::to_string(i)));
        EXPECT_EQ(AttributeOf(*records[i + 11], 0x102), TextBytes("Sig_EP_" + std::to_string(i)));
        EXPECT_EQ(records[i]->certificateIndex, i);
    }
    EXPECT_EQ(AttributeOf(*records[10], 0x101), contents[10].subject);
    EXPECT_EQ(AttributeOf(*records[21], 0x101), contents[10].subject);
}

TEST_F(CertificateObjectsTest, NullCertificateUsesUpItsPositionButNoRunningNumber)
{
    const auto card = AddCard("Reader", 1);
    auto certificates = MakeCertificates({{}, {}, {}});
    certificates[1] = nullptr;
    Cache().AddCertificateObjects(card.qualifiedSlot, certificates);
    const auto records = Cache().GetObjectRecordsOfSlot(card.qualifiedSlot);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(AttributeOf(*records[0], 0x102), TextBytes("Sig_ZEP_0"));
    EXPECT_EQ(records[0]->certificateIndex, 0U);
    EXPECT_EQ(AttributeOf(*records[1], 0x102), TextBytes("Sig_ZEP_2"));
    EXPECT_EQ(records[1]->certificateIndex, 1U);
    EXPECT_EQ(records[1]->objectHandle, records[0]->objectHandle + 1);
}

TEST_F(CertificateObjectsTest, KeyRecordWithoutModulusGivesAnEmptyOne)
{
    const auto card = AddCard("Reader", 1);
    auto keyInfo = MakeKeyInfo(1, 1024);
    keyInfo.modulusLength = 0;
    CK_OBJECT_HANDLE handle = 0;
    Cache().AddPubKeyObjects(card.qualifiedSlot, {keyInfo}, handle, 1);
    PkcsAttribute modulus(0x120);
    EXPECT_EQ(Cache().GetObject(handle)->GetAttribute(0x120, modulus), 0U);
    EXPECT_EQ(modulus.value->length, 0);
}

TEST_F(CertificateObjectsTest, KeyRecordOfTheLargestModulusIsTakenWhole)
{
    const auto card = AddCard("Reader", 1);
    CK_OBJECT_HANDLE handle = 0;
    Cache().AddPubKeyObjects(card.qualifiedSlot, {MakeKeyInfo(1, 8192)}, handle, 1);
    EXPECT_EQ(AttributeOf(*Cache().GetObject(handle), 0x120), Rising(1024));
}

TEST_F(CertificateObjectsTest, SubjectOfACertificateIsItsOwnBytes)
{
    const auto card = AddCard("Reader", 1);
    CertificateContents contents;
    contents.subject =
        FromHex("3023 3121 3012 0603550403 140B 54617672696B2054657374 300B 060355040A 1404 5A5A5A5A");
    const CK_OBJECT_HANDLE handle = Cache().certificateHandleCounter;
    Cache().AddCertificateObjects(card.qualifiedSlot, MakeCertificates({contents}));
    EXPECT_EQ(AttributeOf(*Cache().GetObject(handle), 0x101), contents.subject);
}

TEST_F(CertificateObjectsTest, EmptyListsGiveNoObjectsAndBothLines)
{
    const auto card = AddCard("Reader", 1);
    LogCapture log;
    CK_OBJECT_HANDLE handle = 0;
    Cache().AddCertificateObjects(card.qualifiedSlot, {});
    Cache().AddPrivKeyObjects(card.qualifiedSlot, {}, {});
    Cache().AddPubKeyObjects(card.qualifiedSlot, {}, handle, 1);
    const char* const certificateFunction = "InternalCache::AddCertificateObjects";
    const char* const privateFunction = "InternalCache::AddPrivKeyObjects";
    const char* const publicFunction = "InternalCache::AddPubKeyObjects";
    EXPECT_EQ(log.Lines(),
              (std::vector<LoggedLine>{
                  {" DBG", "Going to add certificates to internal cache", certificateFunction, ""},
                  {" DBG", "Add certificates to internal cache end", certificateFunction, ""},
                  {" DBG", "Going to add private key to internal cache", privateFunction, ""},
                  {" DBG", "Add private key to internal cache end", privateFunction, ""},
                  {" DBG", "Going to add public key to internal cache", publicFunction, ""},
                  {" DBG", "Add public key to internal cache end", publicFunction, ""}}));
    EXPECT_TRUE(Cache().GetObjectsOfSlot(card.qualifiedSlot).empty());
    EXPECT_EQ(handle, 0U);
}

TEST_F(CertificateObjectsTest, EachObjectIsLoggedWithItsSlotAndHandle)
{
    const auto card = AddCard("Reader", 1);
    LogCapture log;
    const auto certificate = AddCertificate(card.qualifiedSlot);
    const auto privateKey = AddPrivateKey(card.ordinarySlot, 1);
    const auto publicKey = AddPublicKey(card.qualifiedSlot);
    const auto handleText = [](CK_OBJECT_HANDLE handle) {
        char text[64] = {};
        static_cast<void>(snprintf(text, sizeof(text), " object handle 0x%x", handle));
        return std::string(text);
    };
    std::vector<LoggedLine> made;
    for (const auto& line : log.Lines()) {
        if (line.level == "INFO") {
            made.push_back(line);
        }
    }
    EXPECT_EQ(made,
              (std::vector<LoggedLine>{{"INFO", "Sig_ZEP Certificate object created",
                                        "InternalCache::AddCertificateObjects", handleText(certificate)},
                                       {"INFO", "Sig_EP Private key object created",
                                        "InternalCache::AddPrivKeyObjects", handleText(privateKey)},
                                       {"INFO", "Sig_ZEP Public key object created",
                                        "InternalCache::AddPubKeyObjects", handleText(publicKey)}}));
}
