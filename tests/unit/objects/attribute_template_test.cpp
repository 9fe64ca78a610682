#include "src/objects/attribute_template.h"

#include "tests/unit/crypto/test_certificates.h"

#include <gtest/gtest.h>

namespace {

Bytes ValueOf(const CK_ATTRIBUTE& record)
{
    const auto* bytes = static_cast<const uint8_t*>(record.pValue);
    return {bytes, bytes + record.ulValueLen};
}

} // namespace

TEST(AttributeTemplate, BeginsWithoutRecords)
{
    EXPECT_EQ(AttributeTemplate().Count(), 0U);
}

TEST(AttributeTemplate, MakesABooleanOneByte)
{
    AttributeTemplate attributes;
    attributes.AddBoolean(1, true).AddBoolean(2, false);
    ASSERT_EQ(attributes.Count(), 2U);
    EXPECT_EQ(attributes.Records()[0].type, 1U);
    EXPECT_EQ(ValueOf(attributes.Records()[0]), Bytes{1});
    EXPECT_EQ(attributes.Records()[1].type, 2U);
    EXPECT_EQ(ValueOf(attributes.Records()[1]), Bytes{0});
}

TEST(AttributeTemplate, MakesANumberFourBytes)
{
    AttributeTemplate attributes;
    attributes.AddNumber(0, 0x01020304);
    EXPECT_EQ(ValueOf(attributes.Records()[0]), (Bytes{4, 3, 2, 1}));
}

TEST(AttributeTemplate, MakesATextWithoutTerminator)
{
    AttributeTemplate attributes;
    attributes.AddText(3, "Key");
    EXPECT_EQ(ValueOf(attributes.Records()[0]), (Bytes{'K', 'e', 'y'}));
}

TEST(AttributeTemplate, CopiesWhatItIsGiven)
{
    AttributeTemplate attributes;
    {
        Bytes bytes{1, 0, 2};
        const HexBinary value(std::string("0A0B"));
        attributes.AddBytes(4, bytes.data(), bytes.size()).AddBytes(5, value);
        bytes.assign(3, 0xFF);
    }
    EXPECT_EQ(ValueOf(attributes.Records()[0]), (Bytes{1, 0, 2}));
    EXPECT_EQ(ValueOf(attributes.Records()[1]), (Bytes{0x0A, 0x0B}));
}

TEST(AttributeTemplate, TakesValuesWithoutBytes)
{
    AttributeTemplate attributes;
    attributes.AddBytes(4, HexBinary(nullptr, 0, false)).AddText(3, "");
    EXPECT_EQ(attributes.Records()[0].ulValueLen, 0U);
    EXPECT_EQ(attributes.Records()[1].ulValueLen, 0U);
}

TEST(AttributeTemplate, KeepsEarlierRecordsGoodAsItGrows)
{
    AttributeTemplate attributes;
    for (CK_ULONG i = 0; i < 100; ++i) {
        attributes.AddNumber(i, i);
    }
    ASSERT_EQ(attributes.Count(), 100U);
    for (CK_ULONG i = 0; i < 100; ++i) {
        EXPECT_EQ(attributes.Records()[i].type, i);
        EXPECT_EQ(ValueOf(attributes.Records()[i])[0], i);
    }
}
