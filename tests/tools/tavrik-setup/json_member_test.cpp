#include "tools/tavrik-setup/files/json_member.h"

#include "tools/tavrik-setup/files/refusal.h"

#include <gtest/gtest.h>

#include <string>

using namespace setup;

TEST(JsonMember, KeysAreFoundAsTheyAreMeant)
{
    const std::string text = "{\"\\u0061\\\"\": {\"b\": 1}}"; // a"
    const KeyPath path{"a\"", "b"};
    EXPECT_EQ(MemberAt(ParseObject(text, path), path), 1);
    EXPECT_EQ(WithoutMember(text, path, 1), "{\"\\u0061\\\"\": {}}");
    EXPECT_EQ(WithoutMember(text, path, 0), "{}");
}

TEST(JsonMember, LastOneTakesTheCommaBeforeItAlong)
{
    EXPECT_EQ(WithoutMember("{\"a\": 1,\n \"b\": [2, \"}\"]\n}", {"b"}, 0), "{\"a\": 1\n}");
}

TEST(JsonMember, LinesAreCountedFromOne)
{
    const std::string text = "{\n\"log\": {\n\n\"level\": 1}}";
    EXPECT_EQ(LineOfMember(text, {"log"}), 2U);
    EXPECT_EQ(LineOfMember(text, {"log", "level"}), 4U);
}

TEST(JsonMember, AKeyOfThePathThatStandsTwiceIsRefused)
{
    EXPECT_THROW(ParseObject(R"({"a": {"b": 1, "b": 2}})", {"a", "b"}), Refusal);
    EXPECT_NO_THROW(ParseObject(R"({"a": {"b": 1, "b": 2}})", {"a", "c"}));
}

TEST(JsonMember, DeepTextsEndNoProcess)
{
    EXPECT_THROW(ParseObject(std::string(500000, '['), {"a"}), Refusal);
    const std::string deep = "{\"a\": " + std::string(200000, '[') + std::string(200000, ']') + "}";
    EXPECT_NO_THROW(ParseObject(deep, {"a", "b"}));
}
