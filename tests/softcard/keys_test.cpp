#include "tests/softcard/card_home.h"
#include "tests/softcard/judge.h"
#include "tests/softcard/key_use.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

using namespace softcard::test;

namespace {

constexpr size_t hashLength[] = {0, 20, 32, 48, 64}; // by key reference
constexpr const char* hashName[] = {"", "sha1", "sha256", "sha384", "sha512"};

struct Family
{
    const char* name;
    KeyFunction sign;
    CertificateFunction getCertificates;
    decltype(&CardAPI_QES_GetKeyInfo) getKeyInfo;
    Verified (*verify)(CardSession, const char*);
    const char* code;
};

Family QualifiedFamily()
{
    return {"qes", Library().qesSignData, Library().qesGetCertificates, Library().qesGetKeyInfo, VerifyPin,
            pin};
}

Family OrdinaryFamily()
{
    return {"es", Library().esSignData, Library().esGetCertificates, Library().esGetKeyInfo, VerifyBok, bok};
}

Output Sign(const Family& family, CardSession session, const std::vector<uint8_t>& data,
            size_t capacity = 512)
{
    return UseKey(family.sign, session, data, 0, capacity);
}

class Keys : public CardTest
{
protected:
    // Of the key in the certificate that the card gives.
    [[nodiscard]] Judge JudgeOf(const Family& family, CardSession session) const
    {
        const auto records = GetRecords(family.getCertificates, session);
        const CardCertificate& certificate = records->certificates[0];
        return {Home(), {certificate.data, certificate.data + certificate.length}};
    }

    [[nodiscard]] std::vector<uint8_t> Hash(const std::string& text, const char* hash) const
    {
        return HashByJudge(Home(), text, hash);
    }
};

struct HashingKey
{
    uint32_t reference;
    bool qualified;
};

// The name that a test is listed by.
void PrintTo(const HashingKey& key, std::ostream* stream)
{
    *stream << (key.qualified ? "qes" : "es") << key.reference;
}

class HashingKeys : public Keys, public testing::WithParamInterface<HashingKey>
{
};

TEST_P(HashingKeys, SignTheBareHashWithADigestInfoAround)
{
    const auto [reference, qualified] = GetParam();
    const Family family = qualified ? QualifiedFamily() : OrdinaryFamily();
    const CardSession session = InsertAndOpen("ref" + std::to_string(reference));
    ASSERT_EQ(family.verify(session, family.code).returned, 0);
    const auto hash = Hash("a text", hashName[reference]);
    const Output signature = Sign(family, session, hash);
    ASSERT_EQ(signature.status, 0);
    EXPECT_EQ(signature.bytes.size(), reference == 4 ? 384U : 256U);
    const Judge judge = JudgeOf(family, session);
    EXPECT_TRUE(judge.Accepts("a text", hashName[reference], signature.bytes));
    EXPECT_FALSE(judge.Accepts("another text", hashName[reference], signature.bytes));
}

TEST_P(HashingKeys, RefuseEveryOtherLength)
{
    const auto [reference, qualified] = GetParam();
    const Family family = qualified ? QualifiedFamily() : OrdinaryFamily();
    const CardSession session = InsertAndOpen("ref" + std::to_string(reference));
    for (const size_t length :
         {size_t{0}, size_t{20}, hashLength[reference] - 1, hashLength[reference] + 1}) {
        ASSERT_EQ(family.verify(session, family.code).returned, 0);
        EXPECT_EQ(Sign(family, session, std::vector<uint8_t>(length, 1)).status, 1) << length;
    }
}

INSTANTIATE_TEST_SUITE_P(All, HashingKeys,
                         testing::Values(HashingKey{2, true}, HashingKey{3, true}, HashingKey{4, true},
                                         HashingKey{2, false}, HashingKey{3, false}, HashingKey{4, false}));

TEST_F(Keys, OfReferenceOneSignTheBytesAsTheyStand)
{
    const CardSession session = InsertAndOpen("ref1");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    const Judge judge = JudgeOf(OrdinaryFamily(), session);
    for (const size_t length : {size_t{0}, size_t{1}, size_t{35}, size_t{36}, size_t{51}, size_t{245}}) {
        const std::vector<uint8_t> data(length, 0xA5);
        const Output signature = Sign(OrdinaryFamily(), session, data);
        ASSERT_EQ(signature.status, 0) << length;
        EXPECT_EQ(judge.Recover(signature.bytes), data) << length;
    }
    EXPECT_EQ(Sign(OrdinaryFamily(), session, std::vector<uint8_t>(246, 1)).status, 1);
}

TEST_F(Keys, OfReferenceOneSignAWholeDigestInfo)
{
    const CardSession session = InsertAndOpen("ref1");
    ASSERT_EQ(VerifyPin(session, pin).returned, 0);
    std::vector<uint8_t> digestInfo = {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                       0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
    const auto hash = Hash("a text", "sha256");
    digestInfo.insert(digestInfo.end(), hash.begin(), hash.end());
    const Output signature = Sign(QualifiedFamily(), session, digestInfo);
    ASSERT_EQ(signature.status, 0);
    EXPECT_TRUE(JudgeOf(QualifiedFamily(), session).Accepts("a text", "sha256", signature.bytes));
}

TEST_F(Keys, SignOnceForOnePin)
{
    const CardSession session = InsertAndOpen("ref2");
    const std::vector<uint8_t> hash(32, 7);
    EXPECT_EQ(Sign(QualifiedFamily(), session, hash).status, 17) << "not without the PIN";
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    EXPECT_EQ(Sign(QualifiedFamily(), session, hash).status, 17) << "the login code is not the PIN";
    ASSERT_EQ(VerifyPin(session, pin).returned, 0);
    ASSERT_EQ(VerifyPin(session, pin).returned, 0);
    EXPECT_EQ(Sign(QualifiedFamily(), session, hash).status, 0);
    EXPECT_EQ(Sign(QualifiedFamily(), session, hash).status, 17);
}

TEST_F(Keys, AuthorisationIsLostByARefusedSignature)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyPin(session, pin).returned, 0);
    EXPECT_EQ(Sign(QualifiedFamily(), session, std::vector<uint8_t>(31, 7)).status, 1);
    EXPECT_EQ(Sign(QualifiedFamily(), session, std::vector<uint8_t>(32, 7)).status, 17);
}

TEST_F(Keys, AuthorisationIsLostByAWrongPin)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyPin(session, pin).returned, 0);
    ASSERT_EQ(VerifyPin(session, wrongCode).returned, 15);
    EXPECT_EQ(Sign(QualifiedFamily(), session, std::vector<uint8_t>(32, 7)).status, 17);
}

TEST_F(Keys, AuthorisationBelongsToOneSession)
{
    const CardSession session = InsertAndOpen("ref2");
    const CardSession other = Open();
    ASSERT_EQ(VerifyPin(session, pin).returned, 0);
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    const std::vector<uint8_t> hash(32, 7);
    EXPECT_EQ(Sign(QualifiedFamily(), other, hash).status, 17);
    EXPECT_EQ(Sign(OrdinaryFamily(), other, hash).status, 27);
}

TEST_F(Keys, OfTheOrdinaryFamilyWorkAsLongAsSecureMessaging)
{
    const CardSession session = InsertAndOpen("ref2");
    const auto secret = JudgeOf(OrdinaryFamily(), session).Encrypt("a secret");
    const std::vector<uint8_t> hash(32, 7);
    EXPECT_EQ(Sign(OrdinaryFamily(), session, hash).status, 27);
    EXPECT_EQ(Decrypt(session, secret).status, 27);
    ASSERT_EQ(VerifyPin(session, pin).returned, 0);
    EXPECT_EQ(Sign(OrdinaryFamily(), session, hash).status, 27);
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Sign(OrdinaryFamily(), session, hash).status, 0);
        EXPECT_EQ(Decrypt(session, secret).status, 0);
    }
}

TEST_F(Keys, NeedRoomForTheSignature)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    EXPECT_EQ(Sign(OrdinaryFamily(), session, std::vector<uint8_t>(32, 7), 255).status, 6);
    const Output fitting = Sign(OrdinaryFamily(), session, std::vector<uint8_t>(32, 7), 256);
    EXPECT_EQ(fitting.status, 0);
    EXPECT_EQ(fitting.bytes.size(), 256U);
}

TEST_F(Keys, DecryptWhatOthersEncrypted)
{
    const CardSession session = InsertAndOpen("ref4");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    const Judge judge = JudgeOf(OrdinaryFamily(), session);
    for (const std::string& text : {std::string("a secret"), std::string(373, 'x')}) {
        const Output plain = Decrypt(session, judge.Encrypt(text));
        EXPECT_EQ(plain.status, 0);
        EXPECT_EQ(std::string(plain.bytes.begin(), plain.bytes.end()), text);
    }
}

TEST_F(Keys, DecryptWithTheMarkOfEncryptedDataInFront)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    auto secret = JudgeOf(OrdinaryFamily(), session).Encrypt("a secret");
    secret.insert(secret.begin(), 0x81);
    const Output plain = Decrypt(session, secret);
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(std::string(plain.bytes.begin(), plain.bytes.end()), "a secret");
    secret.front() = 0x80;
    EXPECT_EQ(Decrypt(session, secret).status, 1) << "another mark";
    secret.front() = 0x81;
    secret.push_back(0);
    EXPECT_EQ(Decrypt(session, secret).status, 1) << "another length";
}

TEST_F(Keys, RefuseToDecryptWhatIsNotTheirs)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    auto secret = JudgeOf(OrdinaryFamily(), session).Encrypt("a secret");
    EXPECT_EQ(Decrypt(session, secret, 0, 7).status, 6);
    EXPECT_EQ(Decrypt(session, secret, 1).status, 21) << "no such certificate";
    EXPECT_EQ(Decrypt(session, std::vector<uint8_t>(255, 1)).status, 1);
    EXPECT_EQ(Decrypt(session, std::vector<uint8_t>(256, 0xFF)).status, 9);
    const auto foreign = JudgeOf(QualifiedFamily(), session).Encrypt("a secret");
    EXPECT_EQ(Decrypt(session, foreign).status, 9);
}

TEST_F(Keys, AreDescribedLeastSignificantByteFirst)
{
    const CardSession session = InsertAndOpen("ref4");
    for (const Family& family : {QualifiedFamily(), OrdinaryFamily()}) {
        CardKeyInfo key{};
        ASSERT_EQ(family.getKeyInfo(session, 0, &key, true), 0);
        EXPECT_EQ(key.keyReference, 4U);
        EXPECT_EQ(key.modulusBits, 3072U);
        ASSERT_EQ(key.modulusLength, 384U);
        ASSERT_EQ(key.publicExponentLength, 3U);
        EXPECT_TRUE(std::equal(key.publicExponent, key.publicExponent + 3, std::begin({1, 0, 1})));
        std::string expected;
        for (size_t i = key.modulusLength; i > 0; --i) {
            const char* digits = "0123456789ABCDEF";
            expected += {digits[key.modulus[i - 1] >> 4], digits[key.modulus[i - 1] & 0xF]};
        }
        EXPECT_EQ(JudgeOf(family, session).Modulus(), expected);
    }
}

TEST_F(Keys, ComeWithOneCertificateForEach)
{
    const CardSession session = InsertAndOpen("ref3");
    for (const Family& family : {QualifiedFamily(), OrdinaryFamily()}) {
        const auto records = GetRecords(family.getCertificates, session);
        ASSERT_EQ(records->count, 1U);
        CardKeyInfo key{};
        ASSERT_EQ(family.getKeyInfo(session, 0, &key, true), 0);
        EXPECT_EQ(std::memcmp(&key, &records->keys[0], sizeof key), 0);
        EXPECT_EQ(records->keys[1].keyReference, 0U);
        EXPECT_EQ(records->certificates[0].data[0], 0x30);
    }
    const auto qualified = GetRecords(Library().qesGetCertificates, session);
    const auto ordinary = GetRecords(Library().esGetCertificates, session);
    EXPECT_NE(std::memcmp(qualified->keys[0].modulus, ordinary->keys[0].modulus, 256), 0);
}

TEST_F(Keys, OfABlankCardAreDescribedToo)
{
    const CardSession session = InsertAndOpen("blank");
    EXPECT_EQ(GetRecords(Library().qesGetCertificates, session)->count, 1U);
    EXPECT_EQ(GetRecords(Library().esGetCertificates, session)->count, 1U);
}

TEST_F(Keys, AreNotUsedThroughMissingPointers)
{
    const CardSession session = InsertAndOpen("ref2");
    uint8_t bytes[256]{};
    uint32_t length = sizeof bytes;
    EXPECT_EQ(Library().esSignData(session, nullptr, 32, bytes, &length, 0), 1);
    EXPECT_EQ(Library().esSignData(session, bytes, 32, nullptr, &length, 0), 1);
    EXPECT_EQ(Library().qesSignData(session, bytes, 32, bytes, nullptr, 0), 1);
    EXPECT_EQ(Library().qesGetKeyInfo(session, 0, nullptr, true), 1);
    EXPECT_EQ(Library().esGetCertificates(session, nullptr, &length, nullptr), 1);
}

} // namespace
