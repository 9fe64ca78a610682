#include "tools/tavrik-setup/files/text_line.h"

#include <gtest/gtest.h>

namespace {

using namespace setup;

TEST(Trimmed, LosesTheBlanksAtBothEnds)
{
    EXPECT_EQ(Trimmed(" \ta b\t \r"), "a b");
    EXPECT_EQ(Trimmed("a"), "a");
    EXPECT_EQ(Trimmed(" \t"), "");
    EXPECT_EQ(Trimmed(""), "");
}

TEST(HasLine, FindsAWholeLineWhateverItsBlanks)
{
    EXPECT_TRUE(HasLine("a\n\tb c \ne", "  b c"));
    EXPECT_TRUE(HasLine("a\nb", "b"));
    EXPECT_FALSE(HasLine("a\nb c\n", "b"));
    EXPECT_FALSE(HasLine("a\n# b\n", "b"));
    EXPECT_FALSE(HasLine("", "b"));
}

} // namespace
