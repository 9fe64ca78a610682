#include "src/operations/type2_padding.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Pad(int32_t modulusLength, const Bytes& data)
{
    const HexBinary value(data.data(), static_cast<int32_t>(data.size()), true);
    const auto block = ApplyType2Padding(&modulusLength, value);
    if (block == nullptr) {
        return {};
    }
    return {block->data, block->data + block->length};
}

} // namespace

TEST(Type2Padding, FillsTheBlockUpToTheModulusLength)
{
    for (const int32_t length : {11, 64, 128, 129, 256, 512}) {
        const Bytes block = Pad(length, {0xA, 0, 0xB});
        ASSERT_EQ(block.size(), static_cast<std::size_t>(length));
        EXPECT_EQ(Bytes(block.begin(), block.begin() + 2), (Bytes{0, 2}));
        EXPECT_EQ(std::count(block.begin() + 2, block.end() - 4, 0), 0);
        EXPECT_EQ(Bytes(block.end() - 4, block.end()), (Bytes{0, 0xA, 0, 0xB}));
    }
}

TEST(Type2Padding, BlockOfNoDataEndsWithTheSeparator)
{
    const Bytes block = Pad(64, {});
    ASSERT_EQ(block.size(), 64U);
    EXPECT_EQ(std::find(block.begin() + 1, block.end(), 0), block.end() - 1);
}

TEST(Type2Padding, PadMayBeEmptyButNotLess)
{
    EXPECT_EQ(Pad(5, {7, 8}), (Bytes{0, 2, 0, 7, 8}));
    EXPECT_EQ(Pad(3, {}), (Bytes{0, 2, 0}));
    for (const int32_t length : {4, 3, 0, -1, -1000}) {
        const HexBinary data("0708");
        EXPECT_EQ(ApplyType2Padding(&length, data), nullptr) << length;
    }
}

TEST(Type2Padding, PadIsThatOfRandSeededWithTheSecond)
{
    for (int attempt = 0; attempt < 10; ++attempt) {
        const std::time_t before = std::time(nullptr);
        const Bytes first = Pad(128, {1});
        const Bytes second = Pad(128, {1});
        if (std::time(nullptr) != before) {
            continue; // the second has changed in between
        }
        EXPECT_EQ(first, second);
        std::srand(static_cast<unsigned int>(before));
        for (std::size_t i = 2; i < 126; ++i) {
            // NOLINTNEXTLINE(cert-msc30-c,cert-msc50-cpp): the generator that the padding is required to use
            const auto expected = static_cast<uint8_t>(std::rand() % 256);
            EXPECT_EQ(first[i], expected == 0 ? 1 : expected);
        }
        return;
    }
    FAIL() << "ten times the second changed";
}

// With so many bytes some come out of the generator as zeros.
TEST(Type2Padding, ZerosOfTheGeneratorBecomeOnes)
{
    const Bytes block = Pad(100000, {});
    EXPECT_EQ(std::count(block.begin() + 2, block.end() - 1, 0), 0);
    const auto ones = std::count(block.begin() + 2, block.end() - 1, 1);
    EXPECT_GT(ones, 500) << "about twice as many as of any other value";
}
