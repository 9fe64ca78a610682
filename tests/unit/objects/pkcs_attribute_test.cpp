#include "src/objects/pkcs_attribute.h"

#include "tests/unit/crypto/test_certificates.h"

#include <gtest/gtest.h>

TEST(PkcsAttribute, BeginsWithTheEmptyValue)
{
    const PkcsAttribute attribute(0x102);
    EXPECT_EQ(attribute.type, 0x102U);
    ASSERT_NE(attribute.value, nullptr);
    EXPECT_EQ(attribute.value->data, nullptr);
    EXPECT_EQ(attribute.value->length, 0);
}

TEST(PkcsAttribute, CopiesTheBytesOfItsSource)
{
    auto source = std::make_unique<HexBinary>(std::string("0102"));
    const PkcsAttribute attribute(3, source.get());
    EXPECT_NE(attribute.value->data, source->data);
    source = nullptr;
    EXPECT_EQ(attribute.GetBytes(), (Bytes{1, 2}));
}

TEST(PkcsAttribute, TakesANullSourceForTheEmptyValue)
{
    const PkcsAttribute attribute(3, nullptr);
    ASSERT_NE(attribute.value, nullptr);
    EXPECT_EQ(attribute.value->data, nullptr);
    EXPECT_EQ(attribute.value->length, 0);
}

TEST(PkcsAttribute, HasAValueOnlyWithBytes)
{
    const HexBinary bytes(std::string("00"));
    EXPECT_TRUE(PkcsAttribute(3, &bytes).HasValue());
    EXPECT_FALSE(PkcsAttribute(3).HasValue());

    PkcsAttribute attribute(3);
    attribute.value = MakeUnavailableValue();
    EXPECT_FALSE(attribute.HasValue());
    attribute.value = std::make_unique<HexBinary>(0);
    EXPECT_FALSE(attribute.HasValue());
    attribute.value = nullptr;
    EXPECT_FALSE(attribute.HasValue());
}

TEST(PkcsAttribute, GivesNoBytesWithoutAValue)
{
    PkcsAttribute attribute(3);
    EXPECT_TRUE(attribute.GetBytes().empty());
    attribute.value = MakeUnavailableValue();
    EXPECT_TRUE(attribute.GetBytes().empty());
    attribute.value = nullptr;
    EXPECT_TRUE(attribute.GetBytes().empty());
}

TEST(PkcsAttribute, GivesACopyOfItsBytes)
{
    const HexBinary bytes(std::string("0A0B"));
    const PkcsAttribute attribute(3, &bytes);
    auto copy = attribute.GetBytes();
    copy[0] = 0xFF;
    EXPECT_EQ(attribute.GetBytes(), (Bytes{0x0A, 0x0B}));
}

TEST(PkcsAttribute, ValuesWithoutBytesHaveTheirLengths)
{
    const auto empty = MakeEmptyValue();
    EXPECT_EQ(empty->data, nullptr);
    EXPECT_EQ(empty->length, 0);
    const auto unavailable = MakeUnavailableValue();
    EXPECT_EQ(unavailable->data, nullptr);
    EXPECT_EQ(unavailable->length, -1);
    EXPECT_EQ(static_cast<CK_ULONG>(unavailable->length), 0xFFFFFFFFU);
}

TEST(CopyValue, CopiesWhatTheRecordPointsTo)
{
    uint8_t bytes[] = {1, 2, 3};
    const auto value = CopyValue(CK_ATTRIBUTE{3, bytes, 2});
    bytes[0] = 9;
    EXPECT_EQ(value->ToHexString(), "0102");
    EXPECT_EQ(value->length, 2);
}

TEST(CopyValue, TakesARecordOfNoBytes)
{
    uint8_t byte = 1;
    EXPECT_EQ(CopyValue(CK_ATTRIBUTE{3, &byte, 0})->length, 0);
    EXPECT_EQ(CopyValue(CK_ATTRIBUTE{3, nullptr, 0})->length, 0);
}
