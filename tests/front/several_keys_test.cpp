// What a card signs is checked with the key that was asked for, and cards with several keys in a family.
#include "tests/front/front_test.h"
#include "tests/support/test_certificates.h"

#include <botan/hash.h>

namespace front_test {
namespace {

using blackbox::TestCertifiedKey;
using blackbox::TestSignature;

constexpr CK_MECHANISM_TYPE everySignature[] = {CKM_RSA_PKCS,        CKM_SHA1_RSA_PKCS,
                                                CKM_SHA224_RSA_PKCS, CKM_SHA256_RSA_PKCS,
                                                CKM_SHA384_RSA_PKCS, CKM_SHA512_RSA_PKCS};

class SeveralKeysTest : public FrontTest
{
protected:
    CK_SESSION_HANDLE StartWith(const scripted::Card& card, CK_SLOT_ID slot = ordinary)
    {
        script->AddReader(readerA, card);
        Start();
        const CK_SESSION_HANDLE session = Open(slot);
        EXPECT_EQ(Login(session), CKR_OK);
        return session;
    }

    // With two keys in each family.
    static scripted::Card FullCard()
    {
        scripted::Card card = blackbox::CertifiedCard();
        card.qes.push_back(TestCertifiedKey(3, 2, "Qualified 2"));
        card.es.push_back(TestCertifiedKey(2, 1, "Ordinary 2"));
        return card;
    }

    Handles PrivateKeys(CK_SESSION_HANDLE session)
    {
        return Find(session, Records().Number(CKA_CLASS, CKO_PRIVATE_KEY));
    }
};

TEST_F(SeveralKeysTest, SignatureOfAnotherKeyIsNotHandedOut)
{
    const CK_SESSION_HANDLE session = StartWith(blackbox::CertifiedCard());
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    script->SignWith([](const std::string&, const Bytes& data) { return TestSignature(2, data); });
    for (const CK_MECHANISM_TYPE type : everySignature) {
        ASSERT_EQ(SignInit(session, type, key), CKR_OK) << type;
        Bytes message = Text("m");
        Bytes signature(128, 7);
        CK_ULONG length = Length(signature);
        EXPECT_EQ(f->C_Sign(session, message.data(), Length(message), signature.data(), &length),
                  CKR_FUNCTION_FAILED)
            << type;
        EXPECT_EQ(signature, Bytes(128, 7)) << type;
    }
    EXPECT_EQ(script->CallsOf("ES_SignData").size(), std::size(everySignature));
    script->SignWith(SignatureOfCard);
    for (const CK_MECHANISM_TYPE type : everySignature) {
        Bytes signature;
        ASSERT_EQ(SignInit(session, type, key), CKR_OK) << type;
        ASSERT_EQ(Sign(session, Text("m"), signature), CKR_OK) << type;
        ASSERT_EQ(VerifyInit(session, type, FindOne(session, CKO_PUBLIC_KEY)), CKR_OK) << type;
        EXPECT_EQ(Verify(session, Text("m"), signature), CKR_OK) << type;
    }
}

TEST_F(SeveralKeysTest, SignatureInPartsOfAnotherKeyIsNotHandedOut)
{
    const CK_SESSION_HANDLE session = StartWith(blackbox::CertifiedCard());
    script->SignWith([](const std::string&, const Bytes& data) { return TestSignature(2, data); });
    ASSERT_EQ(SignInit(session), CKR_OK);
    Bytes part = Text("m");
    ASSERT_EQ(f->C_SignUpdate(session, part.data(), Length(part)), CKR_OK);
    Bytes signature(128, 7);
    CK_ULONG length = Length(signature);
    EXPECT_EQ(f->C_SignFinal(session, signature.data(), &length), CKR_FUNCTION_FAILED);
    EXPECT_EQ(signature, Bytes(128, 7));
    EXPECT_EQ(f->C_SignFinal(session, signature.data(), &length), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(SeveralKeysTest, SignatureOfAnotherLengthIsNotHandedOut)
{
    const CK_SESSION_HANDLE session = StartWith(blackbox::CertifiedCard());
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    for (const std::size_t length : {0U, 1U, 100U, 127U}) {
        script->Next("ES_SignData", {.output = Bytes(length, 7)});
        ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
        Bytes signature;
        EXPECT_EQ(Sign(session, Text("m"), signature), CKR_FUNCTION_FAILED) << length;
    }
}

TEST_F(SeveralKeysTest, SignatureOfOtherDataThanThoseGivenIsNotHandedOut)
{
    const CK_SESSION_HANDLE session = StartWith(blackbox::CertifiedCard(), qualified);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    const auto hash = Botan::HashFunction::create("SHA-256")->process("m");
    const Bytes digestInfo = DigestInfo({hash.begin(), hash.end()});
    Bytes signature;
    ASSERT_EQ(SignInit(session, CKM_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Sign(session, digestInfo, signature), CKR_OK);
    EXPECT_EQ(signature, TestSignature(0, digestInfo));
    // The card is given the hash alone and makes a DigestInfo of its own.
    Bytes followed = digestInfo;
    followed.push_back(0);
    ASSERT_EQ(SignInit(session, CKM_RSA_PKCS, key), CKR_OK);
    EXPECT_EQ(Sign(session, followed, signature), CKR_FUNCTION_FAILED);
    EXPECT_EQ(script->CallsOf("QES_SignData").size(), 2U);
}

TEST_F(SeveralKeysTest, OnlyTheFirstKeyOfAFamilyOffersToSign)
{
    script->AddReader(readerA, FullCard());
    Start();
    for (const CK_SLOT_ID slot : {qualified, ordinary}) {
        const CK_SESSION_HANDLE session = Open(slot);
        ASSERT_EQ(Login(session), CKR_OK);
        const Handles keys = PrivateKeys(session);
        ASSERT_EQ(keys.size(), 2U);
        EXPECT_EQ(Read(session, keys[0], CKA_SIGN), Bytes{CK_TRUE});
        EXPECT_EQ(Read(session, keys[1], CKA_SIGN), Bytes{CK_FALSE});
        EXPECT_EQ(Find(session, Records().Flag(CKA_SIGN, CK_TRUE)), Handles{keys[0]});
        for (const CK_MECHANISM_TYPE type : everySignature) {
            EXPECT_EQ(SignInit(session, type, keys[1]), CKR_KEY_FUNCTION_NOT_PERMITTED);
        }
        Bytes signature;
        ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, keys[0]), CKR_OK);
        EXPECT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    }
}

TEST_F(SeveralKeysTest, PublicKeyOfAKeyThatDoesNotSignVerifies)
{
    const CK_SESSION_HANDLE session = StartWith(FullCard());
    const Handles keys = Find(session, Records().Number(CKA_CLASS, CKO_PUBLIC_KEY));
    ASSERT_EQ(keys.size(), 2U);
    ASSERT_EQ(VerifyInit(session, CKM_RSA_PKCS, keys[1]), CKR_OK);
    EXPECT_EQ(Verify(session, Text("m"), TestSignature(2, Text("m"))), CKR_OK);
}

TEST_F(SeveralKeysTest, SecondCertificateOfTheFirstKeySigns)
{
    scripted::Card card = blackbox::CertifiedCard();
    card.es.push_back(TestCertifiedKey(1, 1, "Renewed"));
    const CK_SESSION_HANDLE session = StartWith(card);
    const Handles keys = PrivateKeys(session);
    ASSERT_EQ(keys.size(), 2U);
    for (const CK_OBJECT_HANDLE key : keys) {
        Bytes signature;
        EXPECT_EQ(Read(session, key, CKA_SIGN), Bytes{CK_TRUE});
        ASSERT_EQ(SignInit(session, CKM_SHA256_RSA_PKCS, key), CKR_OK);
        EXPECT_EQ(Sign(session, Text("m"), signature), CKR_OK);
    }
}

TEST_F(SeveralKeysTest, KeyAfterAnUnreadableFirstOneSignsNothing)
{
    scripted::Card card = FullCard();
    card.es.front().certificate = Text("no certificate");
    const CK_SESSION_HANDLE session = StartWith(card); // whose key 1 signs
    Bytes signature;
    ASSERT_EQ(SignInit(session), CKR_OK);
    EXPECT_EQ(Sign(session, Text("m"), signature), CKR_FUNCTION_FAILED);
}

TEST_F(SeveralKeysTest, EachKeyDecryptsByItsOwnNumber)
{
    const CK_SESSION_HANDLE session = StartWith(FullCard());
    const Handles keys = PrivateKeys(session);
    ASSERT_EQ(keys.size(), 2U);
    for (const CK_OBJECT_HANDLE key : keys) {
        Bytes block(128, 1);
        Bytes plain(128);
        CK_ULONG length = Length(plain);
        EXPECT_EQ(Read(session, key, CKA_DECRYPT), Bytes{CK_TRUE});
        ASSERT_EQ(DecryptInit(session, key), CKR_OK);
        EXPECT_EQ(f->C_Decrypt(session, block.data(), Length(block), plain.data(), &length), CKR_OK);
    }
    const auto calls = script->CallsOf("ES_DecryptData");
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].constants, std::vector<uint32_t>{0});
    EXPECT_EQ(calls[1].constants, std::vector<uint32_t>{1});
}

} // namespace
} // namespace front_test
