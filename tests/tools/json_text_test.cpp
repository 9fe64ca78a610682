#include "tools/tavrik-log/json_text.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <random>

using namespace logtool;

namespace {

std::string Written(std::string_view value, bool forTerminal)
{
    std::string text;
    JsonObject json(text, forTerminal);
    json.AddText("v", value);
    json.End();
    return text;
}

// What the JSON library makes of it.
std::string Expected(const std::string& value)
{
    return nlohmann::json{{"v", value}}.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace

TEST(JsonText, ObjectHasItsValuesInTheirOrder)
{
    std::string text = "before ";
    JsonObject json(text, false);
    json.AddText("text", "a b");
    json.AddNumber("number", 18446744073709551615U);
    json.AddTruth("yes", true);
    json.AddTruth("no", false);
    json.AddNull("nothing");
    json.End();
    EXPECT_EQ(text, "before {\"text\":\"a b\",\"number\":18446744073709551615,\"yes\":true,\"no\":false,"
                    "\"nothing\":null}");
}

TEST(JsonText, EveryByteAndEveryPairIsQuotedAsALibraryDoes)
{
    for (unsigned first = 0; first < 256; ++first) {
        EXPECT_EQ(Written(std::string(1, static_cast<char>(first)), false),
                  Expected(std::string(1, static_cast<char>(first))));
        for (unsigned second = 0; second < 256; ++second) {
            const std::string value = {static_cast<char>(first), static_cast<char>(second), 'x'};
            ASSERT_EQ(Written(value, false), Expected(value)) << first << " " << second;
        }
    }
}

TEST(JsonText, MixedBytesAreQuotedAsALibraryDoes)
{
    const std::string bytes(
        "ab \"\\\x1f\x7f\x80\x8f\x90\x9f\xa0\xbf\xc1\xc2\xe0\xe1\xed\xef\xf0\xf1\xf4\xf5\0", 24);
    std::mt19937 random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same texts each time
    for (int count = 0; count < 20000; ++count) {
        std::string value;
        for (auto length = random() % 12; length > 0; --length) {
            value += bytes[random() % bytes.size()];
        }
        ASSERT_EQ(Written(value, false), Expected(value));
    }
}

TEST(JsonText, TextForATerminalHasNoControlCharactersAndSaysTheSame)
{
    const std::string value = "\u0001\u007f\u0080\u009f\u00a0\u202a\u202e\u2066\u2069\u206a";
    const std::string text = Written(value, true);
    EXPECT_EQ(text, "{\"v\":\"\\u0001\\u007f\\u0080\\u009f\u00a0\\u202a\\u202e\\u2066\\u2069\u206a\"}");
    EXPECT_EQ(nlohmann::json::parse(text).at("v"), value);
}
