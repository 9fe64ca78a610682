// What versions 2.40 and 3.0 have added to the attributes of objects, and the calls that go by them.
#include "src/botan/big_int_bytes.h"
#include "tests/front/front_test.h"
#include "tests/support/test_certificates.h"

#include <botan/hash.h>
#include <botan/x509_key.h>
#include <botan/x509cert.h>

#include <algorithm>
#include <set>

namespace front_test {
namespace {

class LaterAttributesTest : public FrontTest
{
protected:
    Handles ObjectsOfCard(CK_SESSION_HANDLE session)
    {
        return {FindOne(session, CKO_CERTIFICATE), FindOne(session, CKO_PRIVATE_KEY),
                FindOne(session, CKO_PUBLIC_KEY)};
    }

    CK_SESSION_HANDLE OpenLoggedIn()
    {
        const CK_SESSION_HANDLE session = Open(ordinary);
        EXPECT_EQ(Login(session), CKR_OK);
        return session;
    }

    // Takes the card out, and puts this one in its place.
    CK_SESSION_HANDLE OpenWithNewCard(const scripted::Card& card)
    {
        RemoveCard(readerA);
        script->InsertCard(readerA, card);
        ProcessEvents();
        return OpenLoggedIn();
    }

    std::vector<Bytes> UniqueIds(CK_SESSION_HANDLE session)
    {
        std::vector<Bytes> ids;
        for (const CK_OBJECT_HANDLE object : Find(session)) {
            ids.push_back(Read(session, object, CKA_UNIQUE_ID));
        }
        return ids;
    }

    static Records PublicKey()
    {
        Records records;
        records.Number(CKA_CLASS, CKO_PUBLIC_KEY)
            .Number(CKA_KEY_TYPE, CKK_RSA)
            .Add(CKA_MODULUS, BigIntBytes(blackbox::TestKey(2).get_n()))
            .Add(CKA_PUBLIC_EXPONENT, BigIntBytes(blackbox::TestKey(2).get_e()));
        return records;
    }

    CK_RV Create(CK_SESSION_HANDLE session, Records records, CK_OBJECT_HANDLE& handle)
    {
        return f->C_CreateObject(session, records.Data(), records.Count(), &handle);
    }

    CK_RV Copy(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_OBJECT_HANDLE* copied)
    {
        return f->C_CopyObject(session, object, nullptr, 0, copied);
    }
};

Bytes InfoOf(const Botan::Public_Key& key)
{
    return Botan::X509::BER_encode(key);
}

TEST_F(LaterAttributesTest, PublicKeyInfoIsThatOfTheCertificatesKey)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    for (const CK_OBJECT_HANDLE object : ObjectsOfCard(session)) {
        const Bytes info = Read(session, object, CKA_PUBLIC_KEY_INFO);
        EXPECT_EQ(info, InfoOf(blackbox::TestKey(1)));
        EXPECT_EQ(Find(session, Records().Add(CKA_PUBLIC_KEY_INFO, info)).size(), 3U);
    }
    EXPECT_TRUE(Find(session, Records().Add(CKA_PUBLIC_KEY_INFO, InfoOf(blackbox::TestKey(0)))).empty());
}

TEST_F(LaterAttributesTest, PublicKeyInfoOfAMadeKeyIsThatOfItsNumbers)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    CK_OBJECT_HANDLE key = 0;
    const Bytes info = InfoOf(blackbox::TestKey(2));
    ASSERT_EQ(Create(session, PublicKey(), key), CKR_OK);
    EXPECT_EQ(Read(session, key, CKA_PUBLIC_KEY_INFO), info);
    ASSERT_EQ(Create(session, PublicKey().Add(CKA_PUBLIC_KEY_INFO, info), key), CKR_OK);
    EXPECT_EQ(Read(session, key, CKA_PUBLIC_KEY_INFO), info);
    ASSERT_EQ(Create(session, PublicKey().Add(CKA_PUBLIC_KEY_INFO, {}), key), CKR_OK);
    EXPECT_EQ(Read(session, key, CKA_PUBLIC_KEY_INFO), info);
    EXPECT_EQ(Create(session, PublicKey().Add(CKA_PUBLIC_KEY_INFO, InfoOf(blackbox::TestKey(1))), key),
              CKR_PUBLIC_KEY_INVALID);
    EXPECT_EQ(Create(session, PublicKey().Add(CKA_PUBLIC_KEY_INFO, {0x30, 0}), key), CKR_PUBLIC_KEY_INVALID);
}

TEST_F(LaterAttributesTest, UniqueIdFindsItsObjectAlone)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    CK_OBJECT_HANDLE first = 0;
    CK_OBJECT_HANDLE second = 0;
    ASSERT_EQ(Create(session, PublicKey(), first), CKR_OK);
    ASSERT_EQ(Create(session, PublicKey(), second), CKR_OK);
    for (const CK_OBJECT_HANDLE object : Find(session)) {
        const Bytes id = Read(session, object, CKA_UNIQUE_ID);
        EXPECT_EQ(id.size(), 32U);
        EXPECT_TRUE(std::all_of(id.begin(), id.end(), [](uint8_t byte) {
            return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'f');
        }));
        EXPECT_EQ(Find(session, Records().Add(CKA_UNIQUE_ID, id)), Handles{object});
    }
    EXPECT_TRUE(Find(session, Records().Add(CKA_UNIQUE_ID, Text("1"))).empty());
}

TEST_F(LaterAttributesTest, UniqueIdIsTheSameEachTime)
{
    const scripted::Card card = blackbox::CertifiedCard();
    script->AddReader(readerA, card);
    Start();
    CK_SESSION_HANDLE session = OpenLoggedIn();
    const std::vector<Bytes> ids = UniqueIds(session);
    ASSERT_EQ(ids.size(), 3U);
    const CK_OBJECT_HANDLE handle = FindOne(session, CKO_CERTIFICATE);
    session = OpenWithNewCard(card);
    EXPECT_EQ(UniqueIds(session), ids);
    EXPECT_NE(FindOne(session, CKO_CERTIFICATE), handle);
    ASSERT_EQ(f->C_Finalize(nullptr), CKR_OK);
    Start();
    session = OpenLoggedIn();
    EXPECT_EQ(UniqueIds(session), ids);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    for (const Bytes& id : UniqueIds(session)) {
        EXPECT_TRUE(std::find(ids.begin(), ids.end(), id) != ids.end()) << "the public objects";
    }
}

TEST_F(LaterAttributesTest, ObjectsThatAreAlikeHaveUniqueIdsOfTheirOwn)
{
    scripted::Card card = blackbox::CertifiedCard();
    card.es.push_back(card.es.front());
    card.es.push_back(blackbox::TestCertifiedKey(1, 1, "Another certificate of the key"));
    script->AddReader(readerA, card);
    Start();
    CK_SESSION_HANDLE session = OpenLoggedIn();
    const std::vector<Bytes> ids = UniqueIds(session);
    EXPECT_EQ(ids.size(), 9U);
    EXPECT_EQ(std::set<Bytes>(ids.begin(), ids.end()).size(), 9U);

    // The key keeps its id when the certificate before it is gone.
    const CK_OBJECT_HANDLE last = Find(session, Records().Number(CKA_CLASS, CKO_PRIVATE_KEY)).back();
    const Bytes id = Read(session, last, CKA_UNIQUE_ID);
    card.es.erase(card.es.begin(), card.es.begin() + 2);
    session = OpenWithNewCard(card);
    EXPECT_EQ(Read(session, FindOne(session, CKO_PRIVATE_KEY), CKA_UNIQUE_ID), id);
}

TEST_F(LaterAttributesTest, UniqueIdIsNotTheApplicationsToGive)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    CK_OBJECT_HANDLE key = untouched;
    EXPECT_EQ(Create(session, PublicKey().Add(CKA_UNIQUE_ID, Text("mine")), key), CKR_ATTRIBUTE_READ_ONLY);
    EXPECT_EQ(Create(session, PublicKey().Add(CKA_UNIQUE_ID, {}), key), CKR_ATTRIBUTE_READ_ONLY);
    EXPECT_EQ(key, untouched);
}

TEST_F(LaterAttributesTest, ObjectsOfTheCardAreNotDestroyed)
{
    for (const CK_FLAGS flags : {CKF_SERIAL_SESSION, CKF_SERIAL_SESSION | CKF_RW_SESSION}) {
        const CK_SESSION_HANDLE session = StartLoggedIn(ordinary, flags);
        for (const CK_OBJECT_HANDLE object : ObjectsOfCard(session)) {
            EXPECT_EQ(Read(session, object, CKA_DESTROYABLE), Bytes{CK_FALSE});
            EXPECT_EQ(f->C_DestroyObject(session, object), CKR_ACTION_PROHIBITED);
        }
        EXPECT_EQ(Find(session, Records().Flag(CKA_DESTROYABLE, CK_FALSE)).size(), 3U);
        EXPECT_TRUE(Find(session, Records().Flag(CKA_DESTROYABLE, CK_TRUE)).empty());
        ASSERT_EQ(f->C_Finalize(nullptr), CKR_OK);
        script->ForgetReaders();
    }
}

TEST_F(LaterAttributesTest, MadeKeyIsDestroyedUnlessItSaysOtherwise)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    CK_OBJECT_HANDLE key = 0;
    ASSERT_EQ(Create(session, PublicKey(), key), CKR_OK);
    EXPECT_EQ(Read(session, key, CKA_DESTROYABLE), Bytes{CK_TRUE});
    EXPECT_EQ(f->C_DestroyObject(session, key), CKR_OK);
    ASSERT_EQ(Create(session, PublicKey().Flag(CKA_DESTROYABLE, CK_TRUE), key), CKR_OK);
    EXPECT_EQ(f->C_DestroyObject(session, key), CKR_OK);
    ASSERT_EQ(Create(session, PublicKey().Flag(CKA_DESTROYABLE, CK_FALSE), key), CKR_OK);
    EXPECT_EQ(Find(session, Records().Flag(CKA_DESTROYABLE, CK_FALSE)), Handles{key});
    EXPECT_EQ(f->C_DestroyObject(session, key), CKR_ACTION_PROHIBITED);
    EXPECT_EQ(Find(session), Handles{key});
    const CK_SESSION_HANDLE other = Open(ordinary);
    ASSERT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_TRUE(Find(other).empty()) << "it ends with its session";
}

TEST_F(LaterAttributesTest, NoObjectIsCopied)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    CK_OBJECT_HANDLE made = 0;
    ASSERT_EQ(Create(session, PublicKey().Flag(CKA_COPYABLE, CK_FALSE), made), CKR_OK);
    ASSERT_EQ(Create(session, PublicKey(), made), CKR_OK);
    CK_OBJECT_HANDLE copied = untouched;
    for (const CK_OBJECT_HANDLE object : Find(session)) {
        EXPECT_EQ(Read(session, object, CKA_COPYABLE), Bytes{CK_FALSE});
        EXPECT_EQ(Copy(session, object, &copied), CKR_ACTION_PROHIBITED);
    }
    EXPECT_EQ(Find(session, Records().Flag(CKA_COPYABLE, CK_FALSE)).size(), 5U);
    EXPECT_EQ(Create(session, PublicKey().Flag(CKA_COPYABLE, CK_TRUE), made), CKR_ATTRIBUTE_VALUE_INVALID);
    EXPECT_EQ(Copy(session, made, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(Copy(session, made + 1000, &copied), CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(Copy(Open(qualified), made, &copied), CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(Copy(session + 1000, made, &copied), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(copied, untouched);
}

TEST_F(LaterAttributesTest, CertificateHasItsCheckValueAndTheHashOfItsNames)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    const CK_OBJECT_HANDLE certificate = FindOne(session, CKO_CERTIFICATE);
    const auto hash =
        Botan::HashFunction::create_or_throw("SHA-1")->process(Read(session, certificate, CKA_VALUE));
    const Bytes checkValue(hash.begin(), hash.begin() + 3);
    EXPECT_EQ(Read(session, certificate, CKA_CHECK_VALUE), checkValue);
    EXPECT_EQ(Find(session, Records().Add(CKA_CHECK_VALUE, checkValue)), Handles{certificate});
    EXPECT_EQ(Read(session, certificate, CKA_NAME_HASH_ALGORITHM), NumberValue(CKM_SHA_1));
    for (const CK_OBJECT_HANDLE key : {FindOne(session, CKO_PRIVATE_KEY), FindOne(session, CKO_PUBLIC_KEY)}) {
        for (const CK_ATTRIBUTE_TYPE type : {CKA_CHECK_VALUE, CKA_NAME_HASH_ALGORITHM}) {
            CK_ATTRIBUTE record{type, nullptr, 0};
            EXPECT_EQ(f->C_GetAttributeValue(session, key, &record, 1), CKR_ATTRIBUTE_TYPE_INVALID);
        }
    }
}

TEST_F(LaterAttributesTest, KeyAllowsTheMechanismsThatItCanBegin)
{
    for (const CK_SLOT_ID slot : {qualified, ordinary}) {
        const CK_SESSION_HANDLE session = slot == qualified ? StartLoggedIn(slot) : OpenLoggedIn();
        const CK_OBJECT_HANDLE privateKey = FindOne(session, CKO_PRIVATE_KEY);
        const CK_OBJECT_HANDLE publicKey = FindOne(session, CKO_PUBLIC_KEY);
        Bytes expected;
        for (const CK_MECHANISM_TYPE type : {CKM_RSA_PKCS, CKM_SHA1_RSA_PKCS, CKM_SHA224_RSA_PKCS,
                                             CKM_SHA256_RSA_PKCS, CKM_SHA384_RSA_PKCS, CKM_SHA512_RSA_PKCS}) {
            const Bytes number = NumberValue(type);
            expected.insert(expected.end(), number.begin(), number.end());
            EXPECT_EQ(SignInit(session, type, privateKey), CKR_OK);
            EXPECT_EQ(f3->C_SessionCancel(session, CKF_SIGN), CKR_OK);
        }
        EXPECT_EQ(Read(session, privateKey, CKA_ALLOWED_MECHANISMS), expected);
        EXPECT_EQ(Read(session, publicKey, CKA_ALLOWED_MECHANISMS), expected);
    }
    const CK_SESSION_HANDLE session = Open(ordinary);
    CK_OBJECT_HANDLE made = 0;
    ASSERT_EQ(Create(session, PublicKey().Flag(CKA_VERIFY, CK_FALSE), made), CKR_OK);
    EXPECT_EQ(Read(session, made, CKA_ALLOWED_MECHANISMS), NumberValue(CKM_RSA_PKCS));
    ASSERT_EQ(Create(session, PublicKey().Flag(CKA_VERIFY, CK_FALSE).Flag(CKA_ENCRYPT, CK_FALSE), made),
              CKR_OK);
    EXPECT_EQ(Read(session, made, CKA_ALLOWED_MECHANISMS), Bytes());
}

TEST_F(LaterAttributesTest, TemplatesOfWrappingAreEmpty)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(ordinary);
    EXPECT_EQ(Read(session, FindOne(session, CKO_PRIVATE_KEY), CKA_UNWRAP_TEMPLATE), Bytes());
    EXPECT_EQ(Read(session, FindOne(session, CKO_PUBLIC_KEY), CKA_WRAP_TEMPLATE), Bytes());
}

} // namespace
} // namespace front_test
