#include "tools/tavrik-setup/doctor/system/windows/asked_program.h"

#include <gtest/gtest.h>

using setup::AskProgram;
using setup::LookAnswer;

namespace {

constexpr std::chrono::seconds enough{60};

LookAnswer Ask(const char* what, std::chrono::seconds longest = enough)
{
    return AskProgram(longest, std::filesystem::absolute(TEST_CHILD).make_preferred(), {what});
}

} // namespace

TEST(AskedProgram, GivesItsValueWhateverItPrints)
{
    const LookAnswer answer = Ask("answer");
    EXPECT_EQ(answer.trouble, "");
    ASSERT_TRUE(answer.value.is_object());
    EXPECT_EQ(answer.value["long"].get<std::string>().size(), 300000U);
}

TEST(AskedProgram, ThatCrashesIsTold)
{
    EXPECT_EQ(Ask("crash").trouble, "crashed (exception 0xC0000005)");
    EXPECT_EQ(Ask("abort").trouble, "crashed (abort)");
}

TEST(AskedProgram, ThatEndsOrThrowsGaveNoAnswer)
{
    EXPECT_EQ(Ask("end").trouble, "gave no answer");
    EXPECT_EQ(Ask("throw").trouble, "gave no answer");
}

TEST(AskedProgram, ThatHangsIsEnded)
{
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Ask("hang", std::chrono::seconds(1)).trouble, "gave no answer within 1 seconds");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, enough);
}

TEST(AskedProgram, ThatTellsTooMuchIsEnded)
{
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(Ask("much").value.is_null());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, enough);
}
