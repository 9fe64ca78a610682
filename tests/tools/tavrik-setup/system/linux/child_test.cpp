#include "tools/tavrik-setup/doctor/system/linux/child.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>

#include <unistd.h>

using nlohmann::json;
using setup::AskChild;

namespace {

constexpr std::chrono::seconds enough{60};

} // namespace

TEST(Child, GivesItsValueWhateverItPrints)
{
    const auto answer = AskChild(enough, [] {
        std::cout << "noise" << std::endl;
        return json{{"long", std::string(300000, 'x')}};
    });
    EXPECT_EQ(answer.value["long"].get<std::string>().size(), 300000U);
    EXPECT_EQ(answer.trouble, "");
}

TEST(Child, ThatCrashesIsTold)
{
    const auto answer = AskChild(enough, []() -> json { std::abort(); });
    EXPECT_TRUE(answer.value.is_null());
    EXPECT_EQ(answer.trouble, "crashed (signal 6)");
}

TEST(Child, ThatEndsOrThrowsGaveNoAnswer)
{
    EXPECT_EQ(AskChild(enough, []() -> json { _exit(0); }).trouble, "gave no answer");
    EXPECT_EQ(AskChild(enough, []() -> json { throw std::runtime_error("x"); }).trouble, "gave no answer");
}

TEST(Child, ThatHangsIsEnded)
{
    const auto begin = std::chrono::steady_clock::now();
    const auto answer = AskChild(std::chrono::seconds(1), []() -> json {
        pause();
        return 1;
    });
    EXPECT_EQ(answer.trouble, "gave no answer within 1 seconds");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, enough);
}

TEST(Child, ThatTellsTooMuchIsEnded)
{
    constexpr std::size_t tooMuch = 9000000; // bytes
    const auto talk = [] {
        std::string text;
        text.resize(tooMuch, 'x');
        return json(text);
    };
    EXPECT_TRUE(AskChild(enough, talk).value.is_null());
}
