#include "front_test.h"
#include "test_certificates.h"

#include <botan/x509cert.h>

#include <cstring>

namespace FrontTests {
namespace {

class ObjectsFrontTest : public FrontTest
{
protected:
    CK_SESSION_HANDLE StartLoggedIn(CK_SLOT_ID slot = qualified)
    {
        StartWithCard();
        const CK_SESSION_HANDLE session = Open(slot, CKF_SERIAL_SESSION | CKF_RW_SESSION);
        EXPECT_EQ(Login(session), CKR_OK);
        return session;
    }

    static Records PublicKey(const Botan::RSA_PublicKey& key)
    {
        Records records;
        records.Number(CKA_CLASS, CKO_PUBLIC_KEY)
            .Number(CKA_KEY_TYPE, CKK_RSA)
            .Add(CKA_MODULUS, Botan::BigInt::encode(key.get_n()))
            .Add(CKA_PUBLIC_EXPONENT, Botan::BigInt::encode(key.get_e()));
        return records;
    }

    CK_RV Create(CK_SESSION_HANDLE session, Records records, CK_OBJECT_HANDLE& handle)
    {
        return f->C_CreateObject(session, records.Data(), records.Count(), &handle);
    }
};

TEST_F(ObjectsFrontTest, CardShowsNothingBeforeLoginAndItsPublicKeyAfterLogout)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(qualified);
    EXPECT_TRUE(Find(session).empty());
    ASSERT_EQ(Login(session), CKR_OK);
    EXPECT_EQ(Find(session).size(), 3U);
    const CK_OBJECT_HANDLE key = FindOne(session, CKO_PRIVATE_KEY);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(Find(session), Handles{FindOne(session, CKO_PUBLIC_KEY)});
    CK_ATTRIBUTE record{CKA_ID, nullptr, 0};
    EXPECT_EQ(f->C_GetAttributeValue(session, key, &record, 1), CKR_OBJECT_HANDLE_INVALID);
}

TEST_F(ObjectsFrontTest, NumbersAreAsWideAsUnsignedLong)
{
    const CK_SESSION_HANDLE session = StartLoggedIn();
    const Bytes bits = Read(session, FindOne(session, CKO_PRIVATE_KEY), CKA_MODULUS_BITS);
    ASSERT_EQ(bits.size(), sizeof(CK_ULONG));
    CK_ULONG number = 0;
    std::memcpy(&number, bits.data(), sizeof(number));
    EXPECT_EQ(number, 1024U);
}

TEST_F(ObjectsFrontTest, SerialNumberIsTheDerOfTheCertificate)
{
    const CK_SESSION_HANDLE session = StartLoggedIn();
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
    const CK_SESSION_HANDLE session = StartLoggedIn();
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
    EXPECT_EQ(records[1].ulValueLen, unavailableInformation);
    EXPECT_EQ(records[2].ulValueLen, unavailableInformation);
    EXPECT_EQ(small[0], 0x5A);
    EXPECT_EQ(records[3].ulValueLen, unavailableInformation);
    EXPECT_EQ(token, CK_TRUE);
}

TEST_F(ObjectsFrontTest, EachFaultOfATemplateHasItsCode)
{
    const CK_SESSION_HANDLE session = StartLoggedIn();
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
    const CK_SESSION_HANDLE session = StartLoggedIn();
    EXPECT_EQ(Find(session, Records().Flag(CKA_SIGN, 0xFF)), Handles{FindOne(session, CKO_PRIVATE_KEY)});
}

TEST_F(ObjectsFrontTest, SearchKeepsToItsOrder)
{
    const CK_SESSION_HANDLE session = StartLoggedIn();
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
    ASSERT_EQ(Create(session, PublicKey(BlackBox::TestKey(2)), key), CKR_OK);
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
    ASSERT_EQ(Create(first, PublicKey(BlackBox::TestKey(2)), key), CKR_OK);
    ASSERT_EQ(Login(second), CKR_OK);
    EXPECT_EQ(Find(second).size(), 4U);
    ASSERT_EQ(f->C_CloseSession(first), CKR_OK);
    EXPECT_EQ(Find(second).size(), 3U);
}

TEST_F(ObjectsFrontTest, TemplatesOfWhatIsNoPublicKeyAreRefused)
{
    const CK_SESSION_HANDLE session = StartLoggedIn();
    CK_OBJECT_HANDLE key = 0;
    EXPECT_EQ(Create(session, Records().Number(CKA_CLASS, CKO_PUBLIC_KEY), key), CKR_TEMPLATE_INCOMPLETE);
    EXPECT_EQ(Create(session, PublicKey(BlackBox::TestKey(2)).Flag(CKA_SIGN, 1), key),
              CKR_ATTRIBUTE_TYPE_INVALID);
    EXPECT_EQ(Create(session, PublicKey(BlackBox::TestKey(2)).Flag(CKA_TOKEN, 1), key),
              CKR_TOKEN_WRITE_PROTECTED);
    EXPECT_EQ(Create(session, PublicKey(BlackBox::TestKey(2)).Number(CKA_CLASS, CKO_PUBLIC_KEY), key),
              CKR_TEMPLATE_INCONSISTENT);
    EXPECT_EQ(f->C_DestroyObject(session, FindOne(session, CKO_CERTIFICATE)), CKR_TOKEN_WRITE_PROTECTED);
}

} // namespace
} // namespace FrontTests
