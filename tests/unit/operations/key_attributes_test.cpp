#include "src/operations/key_attributes.h"

#include "tests/unit/crypto/test_certificates.h"

#include <gtest/gtest.h>

namespace {

constexpr CK_ATTRIBUTE_TYPE sign = 0x108;
constexpr CK_ATTRIBUTE_TYPE modulusBits = 0x121;

PkcsObject KeyWith(CK_ATTRIBUTE_TYPE type, Bytes value, uint32_t kind = privateKeyKind)
{
    PkcsObject key(kind, 1, 1);
    const CK_ATTRIBUTE record{type, value.data(), static_cast<CK_ULONG>(value.size())};
    key.SetAttributes(&record, 1);
    return key;
}

} // namespace

TEST(ReadFlag, IsWhetherTheFirstByteIsOne)
{
    EXPECT_EQ(ReadFlag(KeyWith(sign, {1}), sign), true);
    EXPECT_EQ(ReadFlag(KeyWith(sign, {0}), sign), false);
    EXPECT_EQ(ReadFlag(KeyWith(sign, {2}), sign), false);
    EXPECT_EQ(ReadFlag(KeyWith(sign, {0xFF}), sign), false);
    EXPECT_EQ(ReadFlag(KeyWith(sign, {1, 0}), sign), true);
    EXPECT_EQ(ReadFlag(KeyWith(sign, {0, 1}), sign), false);
}

TEST(ReadFlag, IsNothingWithoutAValue)
{
    EXPECT_EQ(ReadFlag(KeyWith(sign, {}), sign), std::nullopt);
    EXPECT_EQ(ReadFlag(PkcsObject(privateKeyKind, 1, 1), sign), std::nullopt);
    EXPECT_EQ(ReadFlag(KeyWith(sign, {1}, certificateKind), sign), std::nullopt);
    EXPECT_EQ(ReadFlag(KeyWith(sign, {1}, 0), sign), std::nullopt);
}

TEST(ReadNumber, IsMadeOfFourBytesLeastSignificantFirst)
{
    EXPECT_EQ(ReadNumber(KeyWith(modulusBits, {0x00, 0x08, 0, 0}), modulusBits), 2048U);
    EXPECT_EQ(ReadNumber(KeyWith(modulusBits, {1, 2, 3, 0x84}), modulusBits), 0x84030201U);
}

TEST(ReadNumber, TakesFewerBytes)
{
    EXPECT_EQ(ReadNumber(KeyWith(modulusBits, {7}), modulusBits), 7U);
    EXPECT_EQ(ReadNumber(KeyWith(modulusBits, {0, 8}), modulusBits), 2048U);
    EXPECT_EQ(ReadNumber(KeyWith(modulusBits, {1, 2, 3}), modulusBits), 0x030201U);
}

TEST(ReadNumber, IgnoresBytesBehindTheFourth)
{
    EXPECT_EQ(ReadNumber(KeyWith(modulusBits, {0, 4, 0, 0, 9, 9, 9, 9}), modulusBits), 1024U);
}

TEST(ReadNumber, IsNothingWithoutAValue)
{
    EXPECT_EQ(ReadNumber(KeyWith(modulusBits, {}), modulusBits), std::nullopt);
    EXPECT_EQ(ReadNumber(PkcsObject(privateKeyKind, 1, 1), modulusBits), std::nullopt);
    EXPECT_EQ(ReadNumber(KeyWith(modulusBits, {1}, certificateKind), modulusBits), std::nullopt);
}
