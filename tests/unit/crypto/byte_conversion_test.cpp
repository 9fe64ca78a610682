#include "src/crypto/byte_conversion.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes BytesOf(const std::unique_ptr<HexBinary>& value)
{
    return ToVector(value.get());
}

} // namespace

TEST(ByteConversion, VectorHasTheBytes)
{
    const HexBinary value("00ff10");
    EXPECT_EQ(ToVector(&value), (Bytes{0x00, 0xFF, 0x10}));
}

TEST(ByteConversion, VectorOfNothingIsEmpty)
{
    const HexBinary empty(nullptr, 0, false);
    const HexBinary unavailable(nullptr, -1, false);
    const HexBinary noBytes("");
    EXPECT_EQ(ToVector(nullptr), Bytes{});
    EXPECT_EQ(ToVector(&empty), Bytes{});
    EXPECT_EQ(ToVector(&unavailable), Bytes{});
    EXPECT_EQ(ToVector(&noBytes), Bytes{});
}

TEST(ByteConversion, NumberIsBigEndian)
{
    EXPECT_EQ(ToBigInt(HexBinary("010001")), 65537U);
    EXPECT_EQ(ToBigInt(HexBinary("000000010001")), 65537U);
    EXPECT_EQ(ToBigInt(HexBinary("")), 0U);
}

TEST(ByteConversion, BytesOfANumberHaveNoLeadingZeros)
{
    const auto hex = [](const Botan::BigInt& number) {
        return BytesOf(std::unique_ptr<HexBinary>(ToHexBinary(number)));
    };
    EXPECT_EQ(hex(Botan::BigInt(65537)), (Bytes{1, 0, 1}));
    EXPECT_EQ(hex(Botan::BigInt(0x80)), Bytes{0x80});
    EXPECT_EQ(hex(ToBigInt(HexBinary("0000800000"))), (Bytes{0x80, 0, 0}));
    EXPECT_EQ(hex(Botan::BigInt(0)), Bytes{});
}
