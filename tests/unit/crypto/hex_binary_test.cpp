#include "tavrik/hex_binary.h"

#include <botan/secmem.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <type_traits>

namespace {

std::vector<uint8_t> ContentsOf(const HexBinary& value)
{
    return {value.data, value.data + value.length};
}

// What the hex constructor raises on this text; code 0 when it raises nothing.
Pkcs11Exception ErrorOf(const std::string& hex)
{
    try {
        const HexBinary value(hex);
    } catch (const Pkcs11Exception& error) {
        return error;
    }
    return {0, "nothing was raised"};
}

HexBinary Empty()
{
    return HexBinary(nullptr, 0, false);
}

HexBinary Unavailable()
{
    return HexBinary(nullptr, -1, false);
}

} // namespace

TEST(HexBinary, IsNotCopyable)
{
    EXPECT_FALSE(std::is_copy_constructible_v<HexBinary>);
    EXPECT_FALSE(std::is_copy_assignable_v<HexBinary>);
    EXPECT_TRUE(std::has_virtual_destructor_v<HexBinary>);
}

TEST(HexBinary, LengthConstructorAllocatesABlockToFill)
{
    HexBinary value(5);
    ASSERT_NE(value.data, nullptr);
    EXPECT_EQ(value.length, 5);
    std::fill_n(value.data, 5, static_cast<uint8_t>(0xAB));
    EXPECT_EQ(value.ToHexString(), "ABABABABAB");
}

TEST(HexBinary, LengthConstructorTakesZero)
{
    const HexBinary value(0);
    EXPECT_EQ(value.length, 0);
    EXPECT_EQ(value.ToHexString(), "");
}

TEST(HexBinary, CopyingConstructorMakesABlockOfItsOwn)
{
    uint8_t bytes[] = {1, 2, 3};
    const HexBinary value(bytes, 3, true);
    EXPECT_NE(value.data, bytes);
    bytes[0] = 9;
    EXPECT_EQ(ContentsOf(value), (std::vector<uint8_t>{1, 2, 3}));
}

TEST(HexBinary, CopyingConstructorTakesNoBytes)
{
    const uint8_t bytes[] = {1};
    const HexBinary value(bytes, 0, true);
    EXPECT_EQ(value.length, 0);
    EXPECT_EQ(value.ToHexString(), "");
}

TEST(HexBinary, TakingConstructorKeepsThePointer)
{
    auto* bytes = new uint8_t[2]{7, 8};
    const HexBinary value(bytes, 2, false);
    EXPECT_EQ(value.data, bytes);
    EXPECT_EQ(value.length, 2);
}

TEST(HexBinary, EmptyValueHasNullDataAndNoLength)
{
    const auto value = Empty();
    EXPECT_EQ(value.data, nullptr);
    EXPECT_EQ(value.length, 0);
    EXPECT_EQ(value.ToHexString(), "");
}

TEST(HexBinary, UnavailableValueHasNullDataAndLengthMinusOne)
{
    const auto value = Unavailable();
    EXPECT_EQ(value.data, nullptr);
    EXPECT_EQ(value.length, -1);
    EXPECT_EQ(value.ToHexString(), "");
}

TEST(HexBinary, HexConstructorDecodesPairs)
{
    const HexBinary value(std::string("00FF"));
    EXPECT_EQ(ContentsOf(value), (std::vector<uint8_t>{0, 255}));
    EXPECT_EQ(value.ToHexString(), "00FF");
}

TEST(HexBinary, HexConstructorTakesLowercaseAndGivesUppercaseBack)
{
    const HexBinary value(std::string("00ff"));
    EXPECT_EQ(ContentsOf(value), (std::vector<uint8_t>{0, 255}));
    EXPECT_EQ(value.ToHexString(), "00FF");
}

TEST(HexBinary, HexConstructorTakesMixedCase)
{
    const HexBinary value(std::string("aBcDeF0123456789"));
    EXPECT_EQ(ContentsOf(value), (std::vector<uint8_t>{0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45, 0x67, 0x89}));
}

TEST(HexBinary, HexConstructorAndTextAreInverseForEveryByte)
{
    for (int i = 0; i <= 255; ++i) {
        const auto byte = static_cast<uint8_t>(i);
        const HexBinary value(&byte, 1, true);
        const auto text = value.ToHexString();
        char expected[3] = {};
        static_cast<void>(snprintf(expected, sizeof(expected), "%02X", static_cast<unsigned>(byte)));
        EXPECT_EQ(text, expected);
        const HexBinary back(text);
        EXPECT_EQ(ContentsOf(back), std::vector<uint8_t>{byte});
    }
}

TEST(HexBinary, HexConstructorOfAnEmptyTextGivesABlockOfNoBytes)
{
    const HexBinary value{std::string()};
    EXPECT_NE(value.data, nullptr);
    EXPECT_EQ(value.length, 0);
    EXPECT_EQ(value.ToHexString(), "");
}

TEST(HexBinary, HexConstructorRaisesOnAnOddLength)
{
    const auto error = ErrorOf("ABC");
    EXPECT_EQ(error.code, 508U);
    EXPECT_EQ(error.message, "Error(51): parameter -> length - 11");
}

TEST(HexBinary, HexConstructorTestsTheLengthBeforeTheCharacters)
{
    const auto error = ErrorOf("XYZ");
    EXPECT_EQ(error.code, 508U);
    EXPECT_EQ(error.message, "Error(51): parameter -> length - 11");
}

TEST(HexBinary, HexConstructorReportsTheFirstWrongCharacter)
{
    const auto error = ErrorOf("012G4H");
    EXPECT_EQ(error.code, 508U);
    EXPECT_EQ(error.message, "Error(51): character -> 3 - 15");
}

TEST(HexBinary, HexConstructorReportsABlank)
{
    EXPECT_EQ(ErrorOf("A GA").message, "Error(51): character -> 1 - 15");
    EXPECT_EQ(ErrorOf(" A").message, "Error(51): character -> 0 - 15");
}

// The text of three characters is odd, so its length is what is wrong with it first.
TEST(HexBinary, HexConstructorReportsTheLengthOfAnOddTextWithABlank)
{
    EXPECT_EQ(ErrorOf("A G").message, "Error(51): parameter -> length - 11");
}

TEST(HexBinary, HexConstructorReportsAPositionOfSeveralDigits)
{
    EXPECT_EQ(ErrorOf(std::string(120, '0') + "0x").message, "Error(51): character -> 121 - 15");
}

TEST(HexBinary, HexConstructorRefusesAZeroCharacter)
{
    EXPECT_EQ(ErrorOf(std::string("0\0", 2)).message, "Error(51): character -> 1 - 15");
}

TEST(HexBinary, HexConstructorRefusesTheNeighboursOfTheDigits)
{
    for (const char character : {'/', ':', '@', 'G', '`', 'g', '\x80', '\xFF'}) {
        EXPECT_EQ(ErrorOf(std::string("0") + character).message, "Error(51): character -> 1 - 15")
            << character;
    }
}

TEST(HexBinary, AppendPutsTheBytesBehind)
{
    HexBinary value(std::string("0102"));
    const HexBinary other(std::string("03"));
    value.Append(&other);
    EXPECT_EQ(value.ToHexString(), "010203");
    EXPECT_EQ(value.length, 3);
    EXPECT_EQ(other.ToHexString(), "03");
}

TEST(HexBinary, AppendOfNullChangesNothing)
{
    HexBinary value(std::string("0102"));
    const auto* block = value.data;
    value.Append(nullptr);
    EXPECT_EQ(value.data, block);
    EXPECT_EQ(value.ToHexString(), "0102");
}

TEST(HexBinary, AppendOfAnEmptyValueReplacesTheBlockByOneOfTheSameContent)
{
    HexBinary value(std::string("0102"));
    const auto* block = value.data;
    const auto other = Empty();
    value.Append(&other);
    EXPECT_NE(value.data, block);
    EXPECT_EQ(value.ToHexString(), "0102");
}

TEST(HexBinary, AppendToAnEmptyValueGivesTheOthersBytes)
{
    auto value = Empty();
    const HexBinary other(std::string("0A0B"));
    value.Append(&other);
    EXPECT_EQ(value.ToHexString(), "0A0B");
}

TEST(HexBinary, AppendOfItselfDoublesIt)
{
    HexBinary value(std::string("0A0B"));
    value.Append(&value);
    EXPECT_EQ(value.ToHexString(), "0A0B0A0B");
}

TEST(HexBinary, ToByteVectorReplacesTheContentAndKeepsTheCapacity)
{
    std::vector<uint8_t> vector(100, 0xEE);
    const auto capacity = vector.capacity();
    HexBinary(std::string("0102")).ToByteVector(vector);
    EXPECT_EQ(vector, (std::vector<uint8_t>{1, 2}));
    EXPECT_EQ(vector.capacity(), capacity);
}

TEST(HexBinary, ToByteVectorClearsForValuesWithoutBytes)
{
    std::vector<uint8_t> vector(3, 0xEE);
    Empty().ToByteVector(vector);
    EXPECT_TRUE(vector.empty());
    vector.assign(3, 0xEE);
    Unavailable().ToByteVector(vector);
    EXPECT_TRUE(vector.empty());
}

TEST(HexBinary, ToByteVectorFillsASecureVector)
{
    Botan::secure_vector<uint8_t> vector;
    HexBinary(std::string("0102")).ToByteVector(vector);
    EXPECT_EQ(vector, (Botan::secure_vector<uint8_t>{1, 2}));
}

TEST(HexBinary, FromByteVectorTakesTheBytesAndFreesTheVector)
{
    std::vector<uint8_t> vector{1, 2, 3};
    const std::unique_ptr<HexBinary> value(HexBinary::FromByteVector(vector));
    EXPECT_EQ(ContentsOf(*value), (std::vector<uint8_t>{1, 2, 3}));
    EXPECT_TRUE(vector.empty());
    EXPECT_EQ(vector.capacity(), 0U);
}

TEST(HexBinary, FromByteVectorTakesAnEmptyVector)
{
    std::vector<uint8_t> vector;
    const std::unique_ptr<HexBinary> value(HexBinary::FromByteVector(vector));
    EXPECT_EQ(value->length, 0);
}

TEST(HexBinary, CompareGivesZeroForTheSameBytes)
{
    const HexBinary first(std::string("0AFF"));
    const HexBinary second(std::string("0aff"));
    EXPECT_EQ(HexBinary::Compare(&first, &second), 0);
    EXPECT_EQ(HexBinary::Compare(&first, &first), 0);
}

TEST(HexBinary, CompareOrdersByTheFirstDifference)
{
    const HexBinary low(std::string("0AFF00"));
    const HexBinary high(std::string("0B"));
    EXPECT_LT(HexBinary::Compare(&low, &high), 0);
    EXPECT_GT(HexBinary::Compare(&high, &low), 0);
    const HexBinary digit(std::string("9F"));
    const HexBinary letter(std::string("A0"));
    EXPECT_LT(HexBinary::Compare(&digit, &letter), 0);
}

TEST(HexBinary, CompareOrdersABeginningBeforeTheLongerValue)
{
    const HexBinary shorter(std::string("0102"));
    const HexBinary longer(std::string("010203"));
    EXPECT_LT(HexBinary::Compare(&shorter, &longer), 0);
    EXPECT_GT(HexBinary::Compare(&longer, &shorter), 0);
}

TEST(HexBinary, CompareTakesAllValuesWithoutBytesAsEqual)
{
    const auto empty = Empty();
    const auto unavailable = Unavailable();
    const HexBinary block(0);
    EXPECT_EQ(HexBinary::Compare(&empty, &unavailable), 0);
    EXPECT_EQ(HexBinary::Compare(&unavailable, &block), 0);
    EXPECT_EQ(HexBinary::Compare(&block, &empty), 0);
}

TEST(HexBinary, HoldsATextWithItsTerminator)
{
    HexBinary pin(5);
    std::copy_n("1234", 4, pin.data);
    pin.data[4] = 0;
    EXPECT_STREQ(reinterpret_cast<const char*>(pin.data), "1234");
    EXPECT_EQ(pin.length, 5);
    EXPECT_EQ(pin.ToHexString(), "3132333400");
}
