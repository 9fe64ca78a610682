#include "front/model/objects.h"

#include <gtest/gtest.h>

namespace front {
namespace {

TEST(ObjectsTest, PrivateKeyGetsItsPublicKeyAndTheSubjectOfItsCertificate)
{
    const Attributes certificate{
        {CKA_CLASS, NumberValue(CKO_CERTIFICATE)}, {CKA_ID, {1}}, {CKA_SUBJECT, {0x30, 0}}};
    const Attributes key{{CKA_CLASS, NumberValue(CKO_PRIVATE_KEY)},
                         {CKA_ID, {1}},
                         {CKA_MODULUS, {5}},
                         {CKA_DECRYPT, {1}},
                         {CKA_PRIVATE, {1}}};
    const auto objects = ObjectsOfCard({{7, certificate}, {8, key}});
    ASSERT_EQ(objects.size(), 3U);
    EXPECT_EQ(objects[1].libraryHandle, 8U);
    EXPECT_EQ(objects[1].attributes.at(CKA_SUBJECT), Bytes({0x30, 0}));
    EXPECT_EQ(objects[2].libraryHandle, 0U);
    EXPECT_FALSE(objects[2].IsPrivate());
    EXPECT_TRUE(FlagOf(objects[2].attributes, CKA_ENCRYPT));
    EXPECT_EQ(objects[2].attributes.at(CKA_MODULUS), Bytes{5});
}

TEST(ObjectsTest, KeyTakesNoSubjectOfAnotherCertificate)
{
    const Attributes own{{CKA_CLASS, NumberValue(CKO_CERTIFICATE)}, {CKA_ID, {1}}, {CKA_SUBJECT, {0x30, 0}}};
    const Attributes other{
        {CKA_CLASS, NumberValue(CKO_CERTIFICATE)}, {CKA_ID, {2}}, {CKA_SUBJECT, {0x31, 0}}};
    const Attributes key{{CKA_CLASS, NumberValue(CKO_PRIVATE_KEY)}, {CKA_ID, {1}}};
    const auto objects = ObjectsOfCard({{7, own}, {8, other}, {9, key}});
    ASSERT_EQ(objects.size(), 4U);
    EXPECT_EQ(objects[2].attributes.at(CKA_SUBJECT), Bytes({0x30, 0}));
    EXPECT_EQ(objects[3].attributes.at(CKA_SUBJECT), Bytes({0x30, 0}));
}

} // namespace
} // namespace front
