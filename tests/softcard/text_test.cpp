#include "softcard/base/text.h"

#include <gtest/gtest.h>

#include <string>

using softcard::DecodeUtf8;
using softcard::ToUtf16;
using softcard::ToUtf8;

namespace {

TEST(Text, GoesToUtf16AndBack)
{
    const std::string text = "a\xC3\xA1\xE2\x82\xAC\xF0\x9F\x92\xB3";
    const std::u16string wide = u"a\u00E1\u20AC\U0001F4B3";
    EXPECT_EQ(ToUtf16(text), wide);
    EXPECT_EQ(ToUtf8(wide), text);
}

TEST(Text, ThatIsNotWellFormedIsReplacedByteByByte)
{
    EXPECT_EQ(ToUtf16("a\xFFz"), u"a\uFFFDz");
    EXPECT_EQ(ToUtf16("\xE2\x82"), u"\uFFFD\uFFFD") << "cut off";
    EXPECT_EQ(ToUtf16("\xC0\xAF"), u"\uFFFD\uFFFD") << "longer than needed";
    EXPECT_EQ(ToUtf16("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD") << "a surrogate";
    EXPECT_EQ(ToUtf16("\xF4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD") << "beyond the last character";
    EXPECT_FALSE(DecodeUtf8("\x80"));
}

TEST(Text, ForATerminalHasNothingThatActsOnIt)
{
    EXPECT_EQ(softcard::Printable("\u017Dofia, a b"), "\u017Dofia, a b");
    EXPECT_EQ(softcard::Printable("a\x1B[31m\r\n\t\x7Fz"), "a\uFFFD[31m\uFFFD\uFFFD\uFFFD\uFFFDz");
    EXPECT_EQ(softcard::Printable("\u009B31m"), "\uFFFD31m") << "the same in one character";
    EXPECT_EQ(softcard::Printable("\u202Eabc\u2066"), "\uFFFDabc\uFFFD") << "the direction of writing";
    EXPECT_EQ(softcard::Printable("\x9Bz"), "\uFFFDz") << "no UTF-8";
}

TEST(Text, ForJsonHasEscapesOfWhatActsOnATerminal)
{
    EXPECT_EQ(softcard::EscapeForJson("{\n\"a\": \"\u017D\x7F\u009B\u202E\"}"),
              "{\n\"a\": \"\u017D\\u007f\\u009b\\u202e\"}");
}

TEST(Text, WithALoneSurrogateHasNoUtf8)
{
    EXPECT_FALSE(ToUtf8(u"\xD83D"));
    EXPECT_FALSE(ToUtf8(u"\xDCB3z"));
    EXPECT_FALSE(ToUtf8(u"\xD83D\xD83D"));
}

} // namespace
