#include "tools/tavrik-log/utf8.h"

#include <gtest/gtest.h>

#include <string>

using namespace logtool;

TEST(Utf8, CharactersAreTakenWhole)
{
    const std::string text = "a\u017e\u20ac\U0001f600";
    std::u32string codes;
    for (std::string_view rest = text; !rest.empty();) {
        const Utf8Character character = FirstCharacter(rest);
        EXPECT_TRUE(character.valid);
        codes += character.code;
        rest.remove_prefix(character.bytes);
    }
    EXPECT_EQ(codes, U"a\u017e\u20ac\U0001f600");
}

TEST(Utf8, BytesThatMakeNoCharacterAreOneAsFarAsTheyCouldBecomeOne)
{
    const auto invalidBytes = [](std::string_view text) {
        const Utf8Character character = FirstCharacter(text);
        return character.valid || character.code != 0xFFFD ? 0 : character.bytes;
    };
    EXPECT_EQ(invalidBytes("\x80"), 1U);
    EXPECT_EQ(invalidBytes("\xc0\x80"), 1U) << "longer than needed";
    EXPECT_EQ(invalidBytes("\xe0\x9f\xbf"), 1U);
    EXPECT_EQ(invalidBytes("\xed\xa0\x80"), 1U) << "a surrogate";
    EXPECT_EQ(invalidBytes("\xf4\x90\x80\x80"), 1U) << "above U+10FFFF";
    EXPECT_EQ(invalidBytes("\xe2\x82"), 2U);
    EXPECT_EQ(invalidBytes("\xf0\x9f\x98x"), 3U);
}

TEST(Utf8, PlainAsciiIsWhatPrintsAtEveryPlace)
{
    for (std::size_t length = 0; length < 20; ++length) {
        EXPECT_TRUE(IsPlainAscii(std::string(length, ' ') + std::string(length, '~')));
        for (std::size_t place = 0; place < length; ++place) {
            for (const char bad : {'\0', '\x1f', '\x7f', '\x80', '\xff'}) {
                std::string text(length, 'x');
                text[place] = bad;
                EXPECT_FALSE(IsPlainAscii(text)) << length << " " << place;
            }
        }
    }
}

TEST(Utf8, CharactersAreCounted)
{
    EXPECT_EQ(CharacterCount("a\u017e\u20ac"), 3U);
    EXPECT_EQ(BytesOf("a\u017e\u20ac", 2), 3U);
    EXPECT_EQ(BytesOf("a\u017e", 5), 3U);
}
