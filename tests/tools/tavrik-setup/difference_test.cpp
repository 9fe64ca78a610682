#include "tools/tavrik-setup/files/difference.h"

#include <gtest/gtest.h>

using setup::Difference;

TEST(Difference, ShowsWhatComesAndGoesWithThreeLinesAround)
{
    EXPECT_EQ(Difference("1\n2\n3\n4\n5\n", "1\n2\n3\n4\nnew\n5\n"), " 2\n 3\n 4\n+new\n 5\n");
    EXPECT_EQ(Difference("1\nold\n2\n", "1\n2\n"), " 1\n-old\n 2\n");
    EXPECT_EQ(Difference("", "a\n"), "+a\n");
}

TEST(Difference, TellsOfALineWithoutEnd)
{
    EXPECT_EQ(Difference("a", "a\nb\n"), "-a\n\\ without an end of line\n+a\n+b\n");
}

TEST(Difference, OfTheSameIsEmpty)
{
    EXPECT_EQ(Difference("a\n", "a\n"), "");
}
