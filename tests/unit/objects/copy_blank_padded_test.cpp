#include "src/objects/copy_blank_padded.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// A field of `width` bytes between marks, as CopyBlankPadded fills it.
std::string FieldOf(int32_t width, const char* source)
{
    std::string bytes(static_cast<std::size_t>(width) + 2, '#');
    CopyBlankPadded(reinterpret_cast<unsigned char*>(bytes.data()) + 1, width, source);
    EXPECT_EQ(bytes.front(), '#');
    EXPECT_EQ(bytes.back(), '#');
    return bytes.substr(1, static_cast<std::size_t>(width));
}

} // namespace

TEST(CopyBlankPadded, FillsAShortSourceUpWithBlanks)
{
    EXPECT_EQ(FieldOf(8, "abc"), "abc     ");
}

TEST(CopyBlankPadded, WritesNoTerminatorBehindASourceThatFits)
{
    EXPECT_EQ(FieldOf(3, "abc"), "abc");
}

TEST(CopyBlankPadded, CutsALongSource)
{
    EXPECT_EQ(FieldOf(3, "abcdef"), "abc");
}

TEST(CopyBlankPadded, FillsAFieldWithBlanksForAnEmptySource)
{
    EXPECT_EQ(FieldOf(4, ""), "    ");
}

TEST(CopyBlankPadded, WritesNothingIntoAFieldWithoutWidth)
{
    EXPECT_EQ(FieldOf(0, "abc"), "");
}

TEST(CopyBlankPadded, WritesNothingForANegativeWidth)
{
    unsigned char byte = '#';
    CopyBlankPadded(&byte, -1, "abc");
    EXPECT_EQ(byte, '#');
}

TEST(CopyBlankPadded, StopsAtTheTerminatorOfTheSource)
{
    EXPECT_EQ(FieldOf(6, "ab\0cd"), "ab    ");
}

TEST(CopyBlankPadded, ReadsASourceOfTheFieldsWidthWithoutTerminator)
{
    const char source[] = {'a', 'b', 'c'};
    EXPECT_EQ(FieldOf(3, source), "abc");
}

TEST(CopyBlankPadded, TakesBytesBeyondAscii)
{
    EXPECT_EQ(FieldOf(4, "\xC5\x99z"), "\xC5\x99z ");
}
