#include "front/model/derived_attributes.h"

#include <gtest/gtest.h>

#include <string>

namespace front {
namespace {

Attributes Certificate(const Bytes& value)
{
    return {{CKA_CLASS, NumberValue(CKO_CERTIFICATE)}, {CKA_VALUE, value}};
}

Attributes PublicKey(const Bytes& modulus, const Bytes& exponent)
{
    return {
        {CKA_CLASS, NumberValue(CKO_PUBLIC_KEY)}, {CKA_MODULUS, modulus}, {CKA_PUBLIC_EXPONENT, exponent}};
}

// A DER value with a length of one byte.
Bytes Der(uint8_t tag, const std::vector<Bytes>& parts)
{
    Bytes content;
    for (const Bytes& part : parts) {
        content.insert(content.end(), part.begin(), part.end());
    }
    Bytes value{tag, static_cast<uint8_t>(content.size())};
    value.insert(value.end(), content.begin(), content.end());
    return value;
}

const Bytes serialField = {0x02, 0x01, 0x05};
const Bytes emptySequence = {0x30, 0x00};
const Bytes versionField = {0xA0, 0x03, 0x02, 0x01, 0x02};
const Bytes keyInfoField = {0x30, 0x03, 0x03, 0x01, 0x00};

TEST(DerivedAttributesTest, PublicKeyInfoIsFoundInACertificateOfEachVersion)
{
    const Bytes first = Der(0x30, {Der(0x30, {serialField, emptySequence, emptySequence, emptySequence,
                                              emptySequence, keyInfoField}),
                                   emptySequence});
    const Bytes third = Der(0x30, {Der(0x30, {versionField, serialField, emptySequence, emptySequence,
                                              emptySequence, emptySequence, keyInfoField, emptySequence}),
                                   emptySequence});
    EXPECT_EQ(PublicKeyInfoOf(Certificate(first)), keyInfoField);
    EXPECT_EQ(PublicKeyInfoOf(Certificate(third)), keyInfoField);
}

TEST(DerivedAttributesTest, DamagedCertificateHasNoPublicKeyInfo)
{
    const Bytes whole = Der(0x30, {Der(0x30, {versionField, serialField, emptySequence, emptySequence,
                                              emptySequence, emptySequence, keyInfoField}),
                                   emptySequence});
    for (std::size_t length = 0; length + emptySequence.size() < whole.size(); ++length) {
        EXPECT_EQ(PublicKeyInfoOf(Certificate({whole.begin(), whole.begin() + static_cast<int>(length)})),
                  Bytes())
            << length;
    }
    EXPECT_EQ(
        PublicKeyInfoOf(Certificate(Der(0x30, {Der(0x30, {serialField, emptySequence, emptySequence,
                                                          emptySequence, emptySequence, serialField})}))),
        Bytes());
    EXPECT_EQ(PublicKeyInfoOf(Certificate(Der(0x30, {Der(0x30, {serialField, emptySequence, emptySequence,
                                                                emptySequence, emptySequence})}))),
              Bytes());
    EXPECT_EQ(PublicKeyInfoOf(Certificate(Bytes(4096, 0xFF))), Bytes());
    EXPECT_EQ(PublicKeyInfoOf({{CKA_CLASS, NumberValue(CKO_CERTIFICATE)}}), Bytes());
}

TEST(DerivedAttributesTest, PublicKeyInfoOfNumbersIsTheirDer)
{
    const Bytes expected = {0x30, 0x1B, 0x30, 0x0D, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86,
                            0xF7, 0x0D, 0x01, 0x01, 0x01, 0x05, 0x00, 0x03, 0x0A, 0x00,
                            0x30, 0x07, 0x02, 0x02, 0x00, 0x8F, 0x02, 0x01, 0x03};
    EXPECT_EQ(PublicKeyInfoOf(PublicKey({0x8F}, {3})), expected);
    EXPECT_EQ(PublicKeyInfoOf(PublicKey({0, 0x8F}, {0, 3})), expected);
    EXPECT_EQ(PublicKeyInfoOf(PublicKey({}, {3})), Bytes());
    EXPECT_EQ(PublicKeyInfoOf(PublicKey({0x8F}, {})), Bytes());
}

TEST(DerivedAttributesTest, WhatIsThereIsNotReplaced)
{
    Attributes key = PublicKey({0x8F}, {3});
    key[CKA_PUBLIC_KEY_INFO] = {1};
    key[CKA_ALLOWED_MECHANISMS] = {2};
    AddDerived(key);
    EXPECT_EQ(key[CKA_PUBLIC_KEY_INFO], Bytes{1});
    EXPECT_EQ(key[CKA_ALLOWED_MECHANISMS], Bytes{2});
}

// Fixed for good: applications keep what they were told.
TEST(DerivedAttributesTest, UniqueIdIsMadeOfTheContent)
{
    UniqueIds ids;
    EXPECT_EQ(ids.OfCardObject(Certificate({1, 2, 3}), Bytes{1, 2, 3}),
              TextValue("4f62ae1a7e047d713f4aeefc79c93e07"));
    EXPECT_EQ(ids.OfCardObject(Certificate({1, 2, 3}), Bytes{1, 2, 3}),
              TextValue("675d0e8206b46065d8b9073a1624e907"));
    EXPECT_EQ(ids.OfCardObject(PublicKey({0x8F}, {3}), Bytes{1, 2, 3}),
              TextValue("423e01bac8d0c5254feb00c6f35ae1fb"));
    EXPECT_EQ(UniqueIds().OfCardObject(PublicKey({0x8F}, {3}), Bytes{1, 2, 3}),
              TextValue("423e01bac8d0c5254feb00c6f35ae1fb"));
    EXPECT_NE(UniqueIds().OfCardObject(PublicKey({0x8F}, {3}), Bytes{1, 2}),
              TextValue("423e01bac8d0c5254feb00c6f35ae1fb"));
    EXPECT_NE(UniqueIds().OfCardObject(PublicKey({0x8F, 3}, {}), Bytes{1, 2, 3}),
              TextValue("423e01bac8d0c5254feb00c6f35ae1fb"));
    EXPECT_NE(NewUniqueId(PublicKey({0x8F}, {3})), NewUniqueId(PublicKey({0x8F}, {3})));
}

} // namespace
} // namespace front
