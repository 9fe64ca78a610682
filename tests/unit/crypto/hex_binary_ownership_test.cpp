// Who deletes which block of a byte string.
#include "tavrik/hex_binary.h"

#include "tests/unit/operations/block_watch.h"

#include <gtest/gtest.h>

TEST(HexBinaryOwnership, TakesOverAPointerAndDeletesIt)
{
    auto* bytes = new uint8_t[4]{1, 2, 3, 4};
    const BlockWatch watch(bytes, 4);
    {
        const HexBinary value(bytes, 4, false);
        EXPECT_EQ(watch.Deletions(), 0);
    }
    EXPECT_EQ(watch.Deletions(), 1);
}

TEST(HexBinaryOwnership, LeavesACopiedSourceAlone)
{
    const std::unique_ptr<uint8_t[]> bytes(new uint8_t[4]{1, 2, 3, 4});
    const BlockWatch watch(bytes.get(), 4);
    {
        const HexBinary value(bytes.get(), 4, true);
    }
    EXPECT_EQ(watch.Deletions(), 0);
}

TEST(HexBinaryOwnership, DeletesItsOldBlockWhenItAppends)
{
    HexBinary value(std::string("0102"));
    const HexBinary other(std::string("03"));
    const BlockWatch watch(value.data, 2);
    value.Append(&other);
    EXPECT_EQ(watch.Deletions(), 1);
}

TEST(HexBinaryOwnership, KeepsItsBlockWhenItAppendsNull)
{
    HexBinary value(std::string("0102"));
    const BlockWatch watch(value.data, 2);
    value.Append(nullptr);
    EXPECT_EQ(watch.Deletions(), 0);
}

TEST(HexBinaryOwnership, IsDeletedThroughItsPointer)
{
    const auto* value = new HexBinary(3);
    const BlockWatch watch(value->data, 3);
    delete value;
    EXPECT_EQ(watch.Deletions(), 1);
}
