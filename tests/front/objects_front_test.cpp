#include "src/botan/big_int_bytes.h"
#include "tests/front/front_test.h"
#include "tests/support/test_certificates.h"

#include <botan/x509cert.h>

#include <cstring>

namespace front_test {
namespace {

class ObjectsFrontTest : public FrontTest
{
protected:
    CK_SESSION_HANDLE StartWriting() { return StartLoggedIn(qualified, CKF_SERIAL_SESSION | CKF_RW_SESSION); }

    static Records PublicKey(const Botan::RSA_PublicKey& key)
    {
        Records records;
        records.Number(CKA_CLASS, CKO_PUBLIC_KEY)
            .Number(CKA_KEY_TYPE, CKK_RSA)
            .Add(CKA_MODULUS, BigIntBytes(key.get_n()))
            .Add(CKA_PUBLIC_EXPONENT, BigIntBytes(key.get_e()));
        return records;
    }

    CK_RV Create(CK_SESSION_HANDLE session, Records records, CK_OBJECT_HANDLE& handle)
    {
        return f->C_CreateObject(session, records.Data(), records.Count(), &handle);
    }
};

TEST_F(ObjectsFrontTest, CardShowsNothingBeforeLoginAndItsPublicObjectsAfterLogout)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    EXPECT_TRUE(Find(session).empty());
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(Find(session).size(), 3U);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(Find(session), PublicObjects(session));
    EXPECT_EQ(Read(session, FindOne(session, CKO_CERTIFICATE), CKA_PRIVATE), Bytes{CK_FALSE});
    CK_ATTRIBUTE record{CKA_ID, nullptr, 0};
    EXPECT_EQ(f->C_GetAttributeValue(session, key, &record, 1), CKR_OBJECT_HANDLE_INVALID);
}

TEST_F(ObjectsFrontTest, OtherSlotOfTheCardShowsItsPublicObjectsAfterALogin)
{
    StartWithTwoCards();
    for (const auto& [slot, otherSlot] : {std::pair(qualified, ordinary), std::pair(ordinary, qualified)}) {
        const CK_SESSION_HANDLE session = Open(slot);
        const CK_SESSION_HANDLE other = Open(otherSlot);
        EXPECT_TRUE(Find(other).empty());
        ASSERT_EQ(Login(session), CKR_OK);
        EXPECT_EQ(State(other), CKS_RO_PUBLIC_SESSION);
        const Handles shown = Find(other);
        EXPECT_EQ(shown, PublicObjects(other));
        ASSERT_EQ(Login(other), CKR_OK);
        EXPECT_EQ(Find(other).size(), 3U);
        EXPECT_EQ(PublicObjects(other), shown) << "the handles stay";
        EXPECT_TRUE(Find(Open(2)).empty()) << "another card";
        CK_SLOT_ID event = 0;
        EXPECT_EQ(f->C_WaitForSlotEvent(CKF_DONT_BLOCK, &event, nullptr), CKR_NO_EVENT);
        RemoveCard(readerA);
        InsertCard(readerA);
        while (f->C_WaitForSlotEvent(CKF_DONT_BLOCK, &event, nullptr) == CKR_OK) {
        }
    }
    EXPECT_EQ(script->CallsOf("Passwords_VerifyBOK").size(), 2U);
}

TEST_F(ObjectsFrontTest, KeyOfTheOtherSlotNeedsALoginToItsSlot)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    const CK_SESSION_HANDLE other = Open(qualified);
    ASSERT_EQ(Login(other), CKR_OK);
    const CK_OBJECT_HANDLE key = FindOne(other, CKO_PRIVATE_KEY);
    ASSERT_EQ(f->C_Logout(other), CKR_OK);
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_TRUE(Find(other, Records().Number(CKA_CLASS, CKO_PRIVATE_KEY)).empty());
    EXPECT_EQ(SignInit(other, CKM_SHA256_RSA_PKCS, key), CKR_KEY_HANDLE_INVALID);
    EXPECT_EQ(f->C_Logout(other), CKR_USER_NOT_LOGGED_IN);
}

TEST_F(ObjectsFrontTest, NumbersAreAsWideAsUnsignedLong)
{
    const CK_SESSION_HANDLE session = StartWriting();
    const Bytes bits = Read(session, FindOne(session, CKO_PRIVATE_KEY), CKA_MODULUS_BITS);
    ASSERT_EQ(bits.size(), sizeof(CK_ULONG));
    CK_ULONG number = 0;
    std::memcpy(&number, bits.data(), sizeof(number));
    EXPECT_EQ(number, 1024U);
}

TEST_F(ObjectsFrontTest, SerialNumberIsTheDerOfTheCertificate)
{
    const CK_SESSION_HANDLE session = StartWriting();
    const CK_OBJECT_HANDLE object = FindOne(session, CKO_CERTIFICATE);
    const Bytes serial = Read(session, object, CKA_SERIAL_NUMBER);
    ASSERT_GT(serial.size(), 2U);
    EXPECT_EQ(serial[0], 2);
    EXPECT_EQ(serial[1], serial.size() - 2);
    const Botan::X509_Certificate certificate(Read(session, object, CKA_VALUE));
    EXPECT_EQ(Botan::BigInt(Bytes(serial.begin() + 2, serial.end())),
              Botan::BigInt(certificate.serial_number()));
}

TEST_F(ObjectsFrontTest, AttributesGoThroughTheWholeTemplate)
{
    const CK_SESSION_HANDLE session = StartWriting();
    CK_BBOOL sign = 7;
    CK_BYTE small[1] = {0x5A};
    CK_BBOOL token = 7;
    CK_ATTRIBUTE records[] = {{CKA_SIGN, &sign, sizeof(sign)},
                              {CKA_PRIVATE_EXPONENT, nullptr, 0},
                              {CKA_MODULUS, small, sizeof(small)},
                              {CKA_VALUE, nullptr, 0},
                              {CKA_TOKEN, &token, sizeof(token)}};
    const CK_RV answer = f->C_GetAttributeValue(session, FindOne(session, CKO_PRIVATE_KEY), records, 5);
    EXPECT_TRUE(answer == CKR_ATTRIBUTE_SENSITIVE || answer == CKR_BUFFER_TOO_SMALL ||
                answer == CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(sign, CK_TRUE);
    EXPECT_EQ(records[1].ulValueLen, CK_UNAVAILABLE_INFORMATION);
    EXPECT_EQ(records[2].ulValueLen, CK_UNAVAILABLE_INFORMATION);
    EXPECT_EQ(small[0], 0x5A);
    EXPECT_EQ(records[3].ulValueLen, CK_UNAVAILABLE_INFORMATION);
    EXPECT_EQ(token, CK_TRUE);
}

TEST_F(ObjectsFrontTest, EachFaultOfATemplateHasItsCode)
{
    const CK_SESSION_HANDLE session = StartWriting();
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    CK_BYTE byte = 0;
    CK_ATTRIBUTE secret{CKA_PRIME_1, nullptr, 0};
    EXPECT_EQ(f->C_GetAttributeValue(session, key, &secret, 1), CKR_ATTRIBUTE_SENSITIVE);
    CK_ATTRIBUTE tooSmall{CKA_MODULUS, &byte, 1};
    EXPECT_EQ(f->C_GetAttributeValue(session, key, &tooSmall, 1), CKR_BUFFER_TOO_SMALL);
    CK_ATTRIBUTE foreign{CKA_VALUE, nullptr, 0};
    EXPECT_EQ(f->C_GetAttributeValue(session, key, &foreign, 1), CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(f->C_GetAttributeValue(session, key, nullptr, 1), CKR_ARGUMENTS_BAD);
}

TEST_F(ObjectsFrontTest, SearchComparesBooleansAsBooleans)
{
    const CK_SESSION_HANDLE session = StartWriting();
    EXPECT_EQ(Find(session, Records().Flag(CKA_SIGN, 0xFF)), Handles{FindOne(session, CKO_PRIVATE_KEY)});
}

TEST_F(ObjectsFrontTest, SearchKeepsToItsOrder)
{
    const CK_SESSION_HANDLE session = StartWriting();
    CK_OBJECT_HANDLE handles[2] = {};
    CK_ULONG count = 0;
    EXPECT_EQ(f->C_FindObjects(session, handles, 2, &count), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_OPERATION_NOT_INITIALIZED);
    ASSERT_EQ(f->C_FindObjectsInit(session, nullptr, 0), CKR_OK);
    EXPECT_EQ(f->C_FindObjectsInit(session, nullptr, 0), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(f->C_FindObjects(session, handles, 2, &count), CKR_OK);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(f->C_FindObjects(session, handles, 2, &count), CKR_OK);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(f->C_FindObjects(session, handles, 2, &count), CKR_OK);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(f->C_FindObjectsFinal(session), CKR_OK);
}

TEST_F(ObjectsFrontTest, PublicKeyIsMadeVisibleBeforeLoginAndDestroyed)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    CK_OBJECT_HANDLE key = 0;
    ASSERT_EQ(Create(session, PublicKey(blackbox::TestKey(2)), key), CKR_OK);
    EXPECT_EQ(Find(session), Handles{key});
    EXPECT_EQ(f->C_DestroyObject(session, key), CKR_OK);
    EXPECT_TRUE(Find(session).empty());
    EXPECT_EQ(f->C_DestroyObject(session, key), CKR_OBJECT_HANDLE_INVALID);
}

TEST_F(ObjectsFrontTest, MadeKeyEndsWithItsSessionAndHidesNoCardObjects)
{
    StartWithCard();
    const CK_SESSION_HANDLE first = Open(ordinary);
    const CK_SESSION_HANDLE second = Open(ordinary);
    CK_OBJECT_HANDLE key = 0;
    ASSERT_EQ(Create(first, PublicKey(blackbox::TestKey(2)), key), CKR_OK);
    ASSERT_EQ(Login(second), CKR_OK);
    EXPECT_EQ(Find(second).size(), 4U);
    ASSERT_EQ(f->C_CloseSession(first), CKR_OK);
    EXPECT_EQ(Find(second).size(), 3U);
}

TEST_F(ObjectsFrontTest, TemplateOfNoPublicKeyIsRefused)
{
    const CK_SESSION_HANDLE session = StartWriting();
    CK_OBJECT_HANDLE key = 0;
    EXPECT_EQ(Create(session, Records().Number(CKA_CLASS, CKO_PUBLIC_KEY), key), CKR_TEMPLATE_INCOMPLETE);
    EXPECT_EQ(Create(session, PublicKey(blackbox::TestKey(2)).Flag(CKA_SIGN, 1), key),
              CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(Create(session, PublicKey(blackbox::TestKey(2)).Flag(CKA_TOKEN, 1), key),
              CKR_TOKEN_WRITE_PROTECTED);
    EXPECT_EQ(Create(session, PublicKey(blackbox::TestKey(2)).Number(CKA_MODULUS_BITS, 1024), key),
              CKR_ATTRIBUTE_READ_ONLY);
    EXPECT_EQ(Create(session, PublicKey(blackbox::TestKey(2)).Number(CKA_CLASS, CKO_PUBLIC_KEY), key),
              CKR_TEMPLATE_INCONSISTENT);
}

TEST_F(ObjectsFrontTest, BufferOneByteShortIsTooSmall)
{
    const CK_SESSION_HANDLE session = StartWriting();
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    Bytes modulus(128, 0x5A);
    CK_ATTRIBUTE record{CKA_MODULUS, modulus.data(), 127};
    EXPECT_EQ(f->C_GetAttributeValue(session, key, &record, 1), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(record.ulValueLen, CK_UNAVAILABLE_INFORMATION);
    EXPECT_EQ(modulus, Bytes(128, 0x5A));
    record.ulValueLen = 128;
    EXPECT_EQ(f->C_GetAttributeValue(session, key, &record, 1), CKR_OK);
    EXPECT_EQ(record.ulValueLen, 128U);
}

TEST_F(ObjectsFrontTest, OnlyAPrivateKeyHasSecretParts)
{
    const CK_SESSION_HANDLE session = StartWriting();
    for (const auto& [objectClass, answer] : {std::pair(CKO_PRIVATE_KEY, CKR_ATTRIBUTE_SENSITIVE),
                                              {CKO_PUBLIC_KEY, CKR_ATTRIBUTE_TYPE_INVALID},
                                              {CKO_CERTIFICATE, CKR_ATTRIBUTE_TYPE_INVALID}}) {
        const CK_OBJECT_HANDLE object = FindOne(session, objectClass);
        for (const CK_ATTRIBUTE_TYPE type : {CKA_PRIVATE_EXPONENT, CKA_PRIME_1, CKA_PRIME_2, CKA_EXPONENT_1,
                                             CKA_EXPONENT_2, CKA_COEFFICIENT}) {
            CK_ATTRIBUTE record{type, nullptr, 0};
            EXPECT_EQ(f->C_GetAttributeValue(session, object, &record, 1), answer) << type;
        }
    }
}

TEST_F(ObjectsFrontTest, PublicKeyOfAPrivateKeyVerifiesAndEncrypts)
{
    CK_SESSION_HANDLE session = StartWriting();
    CK_OBJECT_HANDLE key = FindOne(session, CKO_PUBLIC_KEY);
    EXPECT_EQ(Read(session, key, CKA_PRIVATE), Bytes{CK_FALSE});
    EXPECT_EQ(Read(session, key, CKA_VERIFY), Bytes{CK_TRUE});
    EXPECT_EQ(Read(session, key, CKA_ENCRYPT), Bytes{CK_FALSE});
    EXPECT_EQ(Read(session, key, CKA_TOKEN), Bytes{CK_TRUE});
    EXPECT_EQ(Read(session, key, CKA_LABEL), Text("Public Key"));
    EXPECT_EQ(Read(session, key, CKA_SUBJECT), Read(session, FindOne(session, CKO_CERTIFICATE), CKA_SUBJECT));
    EXPECT_EQ(Read(session, key, CKA_ID), Read(session, FindOne(session, CKO_PRIVATE_KEY), CKA_ID));
    session = Open(ordinary);
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(Read(session, FindOne(session, CKO_PUBLIC_KEY), CKA_ENCRYPT), Bytes{CK_TRUE});
}

TEST_F(ObjectsFrontTest, AttributeThatTheLibraryLeavesOutHasItsStandardValue)
{
    const CK_SESSION_HANDLE session = StartWriting();
    const CK_OBJECT_HANDLE certificate = FindOne(session, CKO_CERTIFICATE);
    const CK_OBJECT_HANDLE privateKey = FindOne(session, CKO_PRIVATE_KEY);
    const CK_OBJECT_HANDLE publicKey = FindOne(session, CKO_PUBLIC_KEY);
    const Bytes unavailable(sizeof(CK_ULONG), 0xFF);
    EXPECT_EQ(Read(session, certificate, CKA_CERTIFICATE_CATEGORY), Bytes(sizeof(CK_ULONG)));
    EXPECT_EQ(Read(session, certificate, CKA_URL), Bytes());
    for (const CK_OBJECT_HANDLE object : {certificate, privateKey, publicKey}) {
        EXPECT_EQ(Read(session, object, CKA_MODIFIABLE), Bytes{CK_FALSE});
    }
    for (const CK_OBJECT_HANDLE key : {privateKey, publicKey}) {
        EXPECT_EQ(Read(session, key, CKA_START_DATE), Bytes());
        EXPECT_EQ(Read(session, key, CKA_DERIVE), Bytes{CK_FALSE});
        EXPECT_EQ(Read(session, key, CKA_KEY_GEN_MECHANISM), unavailable);
    }
    EXPECT_EQ(Read(session, privateKey, CKA_ALWAYS_SENSITIVE), Bytes{CK_TRUE});
    EXPECT_EQ(Read(session, privateKey, CKA_UNWRAP), Bytes{CK_FALSE});
    EXPECT_EQ(Read(session, privateKey, CKA_ALWAYS_AUTHENTICATE), Bytes{CK_TRUE}); // the library has a value
    EXPECT_EQ(Read(session, publicKey, CKA_WRAP), Bytes{CK_FALSE});
}

TEST_F(ObjectsFrontTest, ObjectIsSeenInItsSlotAlone)
{
    const CK_SESSION_HANDLE session = StartWriting();
    const CK_SESSION_HANDLE other = Open(ordinary);
    ASSERT_EQ(Login(other), CKR_OK);
    CK_OBJECT_HANDLE made = 0;
    ASSERT_EQ(Create(session, PublicKey(blackbox::TestKey(2)), made), CKR_OK);
    EXPECT_EQ(Find(session).size(), 4U);
    EXPECT_EQ(Find(other).size(), 3U);
    CK_ULONG size = 0;
    EXPECT_EQ(f->C_GetObjectSize(other, made, &size), CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(f->C_DestroyObject(other, made), CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(f->C_GetObjectSize(other, FindOne(session, CKO_CERTIFICATE), &size), CKR_OBJECT_HANDLE_INVALID);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(Find(session).size(), 3U);
    EXPECT_EQ(Find(other).size(), 3U);
}

TEST_F(ObjectsFrontTest, SecondLoginShowsEachObjectOnce)
{
    const CK_SESSION_HANDLE session = StartWriting();
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(Find(session).size(), 3U);
}

TEST_F(ObjectsFrontTest, PublicKeyKeepsItsHandleFromLoginToLogin)
{
    const CK_SESSION_HANDLE session = StartWriting();
    const CK_OBJECT_HANDLE publicKey = FindOne(session, CKO_PUBLIC_KEY);
    const CK_OBJECT_HANDLE privateKey = FindOne(session, CKO_PRIVATE_KEY);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(FindOne(session, CKO_PUBLIC_KEY), publicKey);
    EXPECT_NE(FindOne(session, CKO_PRIVATE_KEY), privateKey);
}

TEST_F(ObjectsFrontTest, OperationWithAMadePrivateObjectIsOverWithTheLogin)
{
    const CK_SESSION_HANDLE session = StartWriting();
    CK_OBJECT_HANDLE key = 0;
    ASSERT_EQ(Create(session, PublicKey(blackbox::TestKey(2)).Flag(CKA_PRIVATE, 1), key), CKR_OK);
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    ASSERT_EQ(f->C_VerifyInit(session, &mechanism, key), CKR_OK);
    ASSERT_EQ(f->C_EncryptInit(session, &mechanism, key), CKR_OK);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    key = FindOne(session, CKO_PUBLIC_KEY);
    EXPECT_EQ(f->C_VerifyInit(session, &mechanism, key), CKR_OK);
    key = 0;
    ASSERT_EQ(Create(session, PublicKey(blackbox::TestKey(2)), key), CKR_OK);
    EXPECT_EQ(f->C_EncryptInit(session, &mechanism, key), CKR_OK);
}

TEST_F(ObjectsFrontTest, SizeIsThatOfAllValues)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    CK_OBJECT_HANDLE first = 0;
    CK_OBJECT_HANDLE second = 0;
    ASSERT_EQ(Create(session, PublicKey(blackbox::TestKey(2)), first), CKR_OK);
    ASSERT_EQ(Create(session, PublicKey(blackbox::TestKey(2)).Add(CKA_LABEL, Text("mine")), second), CKR_OK);
    CK_ULONG size = 0;
    CK_ULONG sizeWithLabel = 0;
    ASSERT_EQ(f->C_GetObjectSize(session, first, &size), CKR_OK);
    ASSERT_EQ(f->C_GetObjectSize(session, second, &sizeWithLabel), CKR_OK);
    EXPECT_GT(size, 128U);
    EXPECT_EQ(sizeWithLabel, size + 4);
    EXPECT_EQ(f->C_GetObjectSize(session, second + 1, &size), CKR_OBJECT_HANDLE_INVALID);
}

TEST_F(ObjectsFrontTest, MadePrivateObjectEndsWithTheLogin)
{
    const CK_SESSION_HANDLE session = StartWriting();
    CK_OBJECT_HANDLE key = 0;
    ASSERT_EQ(Create(session, PublicKey(blackbox::TestKey(2)).Flag(CKA_PRIVATE, 1), key), CKR_OK);
    EXPECT_EQ(Find(session).size(), 4U);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(Find(session).size(), 2U);
    EXPECT_EQ(Create(session, PublicKey(blackbox::TestKey(2)).Flag(CKA_PRIVATE, 1), key),
              CKR_USER_NOT_LOGGED_IN);
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(Find(session).size(), 3U);
}

TEST_F(ObjectsFrontTest, ReadOnlySessionHasItsOwnRefusalOfTokenObjects)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified);
    CK_OBJECT_HANDLE key = 0;
    EXPECT_EQ(Create(session, PublicKey(blackbox::TestKey(2)).Flag(CKA_TOKEN, 1), key),
              CKR_SESSION_READ_ONLY);
}

TEST_F(ObjectsFrontTest, NumbersOfAMadeKeyAreTested)
{
    const CK_SESSION_HANDLE session = StartWriting();
    const auto create = [&](CK_ULONG objectClass, CK_ULONG type, const Bytes& modulus,
                            const Bytes& exponent) {
        CK_OBJECT_HANDLE key = 0;
        Records records;
        records.Number(CKA_CLASS, objectClass).Number(CKA_KEY_TYPE, type);
        return Create(session, records.Add(CKA_MODULUS, modulus).Add(CKA_PUBLIC_EXPONENT, exponent), key);
    };
    const Bytes exponent{1, 0, 1};
    EXPECT_EQ(create(CKO_PUBLIC_KEY, CKK_RSA, Bytes(1024, 0xFF), Bytes(8, 1)), CKR_OK);
    EXPECT_EQ(create(CKO_PUBLIC_KEY, CKK_RSA, Bytes(1025, 0xFF), exponent), CKR_ATTRIBUTE_VALUE_INVALID);
    EXPECT_EQ(create(CKO_PUBLIC_KEY, CKK_RSA, Bytes(128), exponent), CKR_ATTRIBUTE_VALUE_INVALID);
    EXPECT_EQ(create(CKO_PUBLIC_KEY, CKK_RSA, {}, exponent), CKR_ATTRIBUTE_VALUE_INVALID);
    EXPECT_EQ(create(CKO_PUBLIC_KEY, CKK_RSA, Bytes(128, 1), Bytes(9, 1)), CKR_ATTRIBUTE_VALUE_INVALID);
    EXPECT_EQ(create(CKO_PUBLIC_KEY, CKK_RSA, Bytes(128, 1), {0}), CKR_ATTRIBUTE_VALUE_INVALID);
    EXPECT_EQ(create(CKO_PRIVATE_KEY, CKK_RSA, Bytes(128, 1), exponent), CKR_ATTRIBUTE_VALUE_INVALID);
    EXPECT_EQ(create(CKO_PUBLIC_KEY, 3, Bytes(128, 1), exponent), CKR_ATTRIBUTE_VALUE_INVALID);
}

TEST_F(ObjectsFrontTest, NumbersThatNoRsaKeyHasAreRefusedAtOnce)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    const auto create = [&](const Bytes& modulus, const Bytes& exponent) {
        CK_OBJECT_HANDLE key = 0;
        Records records;
        records.Number(CKA_CLASS, CKO_PUBLIC_KEY).Number(CKA_KEY_TYPE, CKK_RSA);
        return Create(session, records.Add(CKA_MODULUS, modulus).Add(CKA_PUBLIC_EXPONENT, exponent), key);
    };
    Bytes even(128, 0xFF);
    even.back() = 0xFE;
    const Bytes odd(128, 0xFF);
    EXPECT_EQ(create(odd, {3}), CKR_OK);
    EXPECT_EQ(create(odd, {0, 1, 0, 1}), CKR_OK);
    EXPECT_EQ(create(even, {1, 0, 1}), CKR_ATTRIBUTE_VALUE_INVALID) << "an even modulus";
    EXPECT_EQ(create(odd, {2}), CKR_ATTRIBUTE_VALUE_INVALID) << "an even exponent";
    EXPECT_EQ(create(odd, {1, 0, 0}), CKR_ATTRIBUTE_VALUE_INVALID) << "an even exponent";
    EXPECT_EQ(create(odd, {1}), CKR_ATTRIBUTE_VALUE_INVALID) << "an exponent that leaves what it is given";
    EXPECT_EQ(create({0x11}, {0x11}), CKR_ATTRIBUTE_VALUE_INVALID) << "an exponent as large as the modulus";
    EXPECT_EQ(create({0, 0, 0x0F}, {0x11}), CKR_ATTRIBUTE_VALUE_INVALID) << "a larger one";
}

TEST_F(ObjectsFrontTest, EmptyTemplateIsIncomplete)
{
    const CK_SESSION_HANDLE session = StartWriting();
    CK_OBJECT_HANDLE key = 0;
    CK_ATTRIBUTE none{};
    EXPECT_EQ(f->C_CreateObject(session, nullptr, 0, &key), CKR_TEMPLATE_INCOMPLETE);
    EXPECT_EQ(f->C_CreateObject(session, &none, 0, &key), CKR_TEMPLATE_INCOMPLETE);
}

TEST_F(ObjectsFrontTest, ObjectOfAnotherClassIsRefusedByItsClass)
{
    const CK_SESSION_HANDLE session = StartWriting();
    CK_OBJECT_HANDLE made = 0;
    EXPECT_EQ(Create(session,
                     Records()
                         .Number(CKA_CLASS, CKO_CERTIFICATE)
                         .Number(CKA_CERTIFICATE_TYPE, 0)
                         .Add(CKA_VALUE, {0x30, 0}),
                     made),
              CKR_ATTRIBUTE_VALUE_INVALID);
    EXPECT_EQ(Create(session, Records().Number(CKA_CERTIFICATE_TYPE, 0), made), CKR_TEMPLATE_INCOMPLETE);
    constexpr CK_ULONG elliptic = 3;
    EXPECT_EQ(Create(session,
                     Records()
                         .Number(CKA_CLASS, CKO_PUBLIC_KEY)
                         .Number(CKA_KEY_TYPE, elliptic)
                         .Add(0x180, {0x06, 0}), // CKA_EC_PARAMS
                     made),
              CKR_ATTRIBUTE_VALUE_INVALID);
    EXPECT_EQ(Create(session, Records().Number(CKA_CLASS, CKO_PUBLIC_KEY).Flag(CKA_SIGN, 1), made),
              CKR_TEMPLATE_INCOMPLETE);
}

TEST_F(ObjectsFrontTest, OtherValuesOfAMadeKeyAreTested)
{
    const CK_SESSION_HANDLE session = StartWriting();
    CK_OBJECT_HANDLE key = 0;
    const auto create = [&](CK_ATTRIBUTE_TYPE type, const Bytes& value) {
        return Create(session, PublicKey(blackbox::TestKey(2)).Add(type, value), key);
    };
    for (const CK_ATTRIBUTE_TYPE date : {CKA_START_DATE, CKA_END_DATE}) {
        EXPECT_EQ(create(date, Text("20260131")), CKR_OK);
        EXPECT_EQ(create(date, {}), CKR_OK);
        EXPECT_EQ(create(date, Text("2026013")), CKR_ATTRIBUTE_VALUE_INVALID);
        EXPECT_EQ(create(date, Text("2026-1-3")), CKR_ATTRIBUTE_VALUE_INVALID);
    }
    EXPECT_EQ(create(CKA_TRUSTED, {CK_FALSE}), CKR_OK);
    EXPECT_EQ(create(CKA_TRUSTED, {CK_TRUE}), CKR_ATTRIBUTE_READ_ONLY) << "that is the security officer's";
    ASSERT_EQ(create(CKA_ENCRYPT, {0xFF}), CKR_OK);
    EXPECT_EQ(Read(session, key, CKA_ENCRYPT), Bytes{CK_TRUE});
}

TEST_F(ObjectsFrontTest, EachPartOfAMadeKeyIsNeeded)
{
    const CK_SESSION_HANDLE session = StartWriting();
    const std::vector<std::pair<CK_ATTRIBUTE_TYPE, Bytes>> parts = {{CKA_CLASS, NumberValue(CKO_PUBLIC_KEY)},
                                                                    {CKA_KEY_TYPE, NumberValue(CKK_RSA)},
                                                                    {CKA_MODULUS, Bytes(128, 1)},
                                                                    {CKA_PUBLIC_EXPONENT, {1, 0, 1}}};
    for (std::size_t left = 0; left <= parts.size(); ++left) {
        Records records;
        for (std::size_t i = 0; i < parts.size(); ++i) {
            if (i != left) {
                records.Add(parts[i].first, parts[i].second);
            }
        }
        CK_OBJECT_HANDLE key = 0;
        EXPECT_EQ(Create(session, records, key), left < parts.size() ? CKR_TEMPLATE_INCOMPLETE : CKR_OK)
            << left;
    }
}

TEST_F(ObjectsFrontTest, BitsOfAMadeKeyAreCounted)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    for (const auto& [modulus, bits] : {std::pair(Bytes{0, 0x01, 0x01}, 9), {{0xFF}, 8}, {{0x40, 1}, 15}}) {
        CK_OBJECT_HANDLE key = 0;
        Records records;
        records.Number(CKA_CLASS, CKO_PUBLIC_KEY).Number(CKA_KEY_TYPE, CKK_RSA).Add(CKA_MODULUS, modulus);
        ASSERT_EQ(Create(session, records.Add(CKA_PUBLIC_EXPONENT, {3}), key), CKR_OK);
        EXPECT_EQ(Read(session, key, CKA_MODULUS_BITS).at(0), bits);
    }
}

TEST_F(ObjectsFrontTest, MadeKeyHasTheStandardValueOfWhatItsTemplateLeavesOut)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    Records records;
    records.Number(CKA_CLASS, CKO_PUBLIC_KEY)
        .Number(CKA_KEY_TYPE, CKK_RSA)
        .Add(CKA_MODULUS, Bytes(128, 0xFF));
    CK_OBJECT_HANDLE key = 0;
    ASSERT_EQ(Create(session, records.Add(CKA_PUBLIC_EXPONENT, {3}), key), CKR_OK);
    for (const CK_ATTRIBUTE_TYPE type : {CKA_LABEL, CKA_SUBJECT, CKA_ID, CKA_START_DATE, CKA_END_DATE}) {
        EXPECT_EQ(Read(session, key, type), Bytes()) << type;
    }
    for (const CK_ATTRIBUTE_TYPE type : {CKA_TOKEN, CKA_PRIVATE, CKA_TRUSTED, CKA_WRAP, CKA_VERIFY_RECOVER,
                                         CKA_DERIVE, CKA_LOCAL, CKA_MODIFIABLE}) {
        EXPECT_EQ(Read(session, key, type), Bytes{CK_FALSE}) << type;
    }
    for (const CK_ATTRIBUTE_TYPE type : {CKA_VERIFY, CKA_ENCRYPT}) {
        EXPECT_EQ(Read(session, key, type), Bytes{CK_TRUE}) << type;
    }
    EXPECT_EQ(Read(session, key, CKA_KEY_GEN_MECHANISM), Bytes(sizeof(CK_ULONG), 0xFF));
}

} // namespace
} // namespace front_test
