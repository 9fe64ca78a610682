#include "src/objects/certificate_objects.h"

#include "tests/unit/crypto/test_certificates.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

constexpr CK_OBJECT_HANDLE objectHandle = 0x12345678;
const ObjectPlace qualifiedPlace = {7, "Sig_ZEP_0", false};
const ObjectPlace ordinaryPlace = {8, "Sig_EP_0", true};
const KeyDescription cardKey = {5, 1024, Bytes(128, 0xA5), {1, 0, 3}};
const Bytes yes = {1};
const Bytes no = {0};

using Attributes = std::vector<std::pair<CK_ATTRIBUTE_TYPE, Bytes>>;

Attributes AttributesOf(const PkcsObject& object)
{
    Attributes attributes;
    for (const auto& attribute : object.attributes) {
        attributes.emplace_back(attribute->type, attribute->GetBytes());
    }
    return attributes;
}

Bytes Number(CK_ULONG number)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(&number);
    return {bytes, bytes + sizeof(number)};
}

Bytes Text(std::string_view text)
{
    return {text.begin(), text.end()};
}

Attributes PrivateKeyAttributes(const ObjectPlace& place, const Bytes& subject)
{
    return {{CKA_CLASS, Number(CKO_PRIVATE_KEY)},
            {CKA_ID, Text(place.id)},
            {CKA_LABEL, Text("Signing Key")},
            {CKA_KEY_TYPE, Number(CKK_RSA)},
            {CKA_SUBJECT, subject},
            {CKA_TOKEN, yes},
            {CKA_EXTRACTABLE, no},
            {CKA_SENSITIVE, yes},
            {CKA_PRIVATE, yes},
            {CKA_PUBLIC_EXPONENT, cardKey.publicExponent},
            {CKA_MODULUS, cardKey.modulus},
            {CKA_MODULUS_BITS, Number(1024)},
            {CKA_SIGN, yes},
            {CKA_ALWAYS_AUTHENTICATE, place.ordinary ? no : yes},
            {CKA_ENCRYPT, place.ordinary ? yes : no},
            {CKA_DECRYPT, place.ordinary ? yes : no},
            {CKA_NEVER_EXTRACTABLE, yes}};
}

Attributes PublicKeyAttributes(const ObjectPlace& place, const Bytes& verify)
{
    return {{CKA_CLASS, Number(CKO_PUBLIC_KEY)},
            {CKA_ID, Text(place.id)},
            {CKA_LABEL, Text("Public Key")},
            {CKA_KEY_TYPE, Number(CKK_RSA)},
            {CKA_TOKEN, no},
            {CKA_EXTRACTABLE, no},
            {CKA_SENSITIVE, no},
            {CKA_PRIVATE, no},
            {CKA_PUBLIC_EXPONENT, cardKey.publicExponent},
            {CKA_MODULUS, cardKey.modulus},
            {CKA_MODULUS_BITS, Number(1024)},
            {CKA_SIGN, no},
            {CKA_ALWAYS_AUTHENTICATE, no},
            {CKA_ENCRYPT, place.ordinary ? yes : no},
            {CKA_DECRYPT, place.ordinary ? yes : no},
            {CKA_NEVER_EXTRACTABLE, no},
            {CKA_VERIFY, verify}};
}

} // namespace

TEST(CertificateObjectsTest, CertificateHasThirteenAttributes)
{
    CertificateContents contents;
    contents.subject =
        FromHex("3023 3121 3012 0603550403 140B 54617672696B2054657374 300B 060355040A 1404 5A5A5A5A");
    const Bytes encoded = EncodeCertificate(contents);
    const auto object = MakeCertificateObject(objectHandle, qualifiedPlace, Botan::X509_Certificate(encoded));
    EXPECT_EQ(object->kind, certificateKind);
    EXPECT_EQ(object->objectHandle, objectHandle);
    EXPECT_EQ(object->slotId, qualifiedPlace.slotId);
    EXPECT_EQ(object->keyReference, 0U);
    EXPECT_EQ(object->certificateIndex, 0U);
    EXPECT_EQ(AttributesOf(*object), (Attributes{{CKA_CLASS, Number(CKO_CERTIFICATE)},
                                                 {CKA_LABEL, Text("Signing Certificate")},
                                                 {CKA_ID, Text("Sig_ZEP_0")},
                                                 {CKA_CERTIFICATE_TYPE, Number(CKC_X_509)},
                                                 {CKA_TOKEN, yes},
                                                 {CKA_TRUSTED, no},
                                                 {CKA_PRIVATE, yes},
                                                 {CKA_SUBJECT, contents.subject},
                                                 {CKA_VALUE, encoded},
                                                 {CKA_SERIAL_NUMBER, contents.serial},
                                                 {CKA_ISSUER, contents.issuer},
                                                 {CKA_START_DATE, Text("20240305")},
                                                 {CKA_END_DATE, Text("20341125")}}));
}

TEST(CertificateObjectsTest, PrivateKeyHasSeventeenAttributes)
{
    for (const auto& place : {qualifiedPlace, ordinaryPlace}) {
        const Bytes subject = FromHex("300F 310D 300B 0603550403 0C04 4C617374");
        const auto object = MakePrivateKeyObject(objectHandle, place, cardKey, subject);
        EXPECT_EQ(object->kind, privateKeyKind);
        EXPECT_EQ(object->objectHandle, objectHandle);
        EXPECT_EQ(object->slotId, place.slotId);
        EXPECT_EQ(object->keyReference, 5U);
        EXPECT_EQ(AttributesOf(*object), PrivateKeyAttributes(place, subject));
    }
}

TEST(CertificateObjectsTest, PublicKeyHasSeventeenAttributes)
{
    for (const auto& place : {qualifiedPlace, ordinaryPlace}) {
        for (const uint8_t verify : Bytes{0, 1, 0x5A}) {
            const auto object = MakePublicKeyObject(objectHandle, place, cardKey, verify);
            EXPECT_EQ(object->kind, publicKeyKind);
            EXPECT_EQ(object->objectHandle, objectHandle);
            EXPECT_EQ(object->slotId, place.slotId);
            EXPECT_EQ(object->keyReference, 5U);
            EXPECT_EQ(AttributesOf(*object), PublicKeyAttributes(place, {verify}));
        }
    }
}

TEST(CertificateObjectsTest, KeyWithoutModulusHasAnEmptyOne)
{
    const auto object = MakePublicKeyObject(objectHandle, ordinaryPlace, {0, 0, {}, {1, 0, 3}}, CK_TRUE);
    PkcsAttribute modulus(CKA_MODULUS);
    EXPECT_EQ(object->GetAttribute(CKA_MODULUS, modulus), CKR_OK);
    EXPECT_EQ(modulus.value->length, 0);
}
