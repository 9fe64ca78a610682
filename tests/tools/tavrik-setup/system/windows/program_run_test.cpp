#include "tools/tavrik-setup/files/program_run.h"

#include "tools/tavrik-setup/files/refusal.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace setup;

namespace {

constexpr std::chrono::seconds longestRun{60};

ProgramResult RunChild(const std::vector<std::string>& arguments, std::chrono::seconds longest = longestRun)
{
    return RunProgram(std::filesystem::absolute(TEST_CHILD).make_preferred(), arguments, longest, "in\n");
}

} // namespace

TEST(ProgramRun, GivesOutputAndExitCode)
{
    const auto result = RunChild({"echo"});
    EXPECT_EQ(result.output, "in\nwrong\n");
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(result.inTime);
}

TEST(ProgramRun, KeepsABoundedPartOfTheOutput)
{
    const auto result = RunChild({"talk"});
    EXPECT_EQ(result.output.size(), 65536U);
    EXPECT_EQ(result.exitCode, 0);
}

TEST(ProgramRun, EndsAProgramThatTakesTooLong)
{
    const auto result = RunChild({"hang"}, std::chrono::seconds(1));
    EXPECT_FALSE(result.inTime);
    EXPECT_EQ(result.exitCode, -1);
}

TEST(ProgramRun, RefusesAProgramThatIsNotThere)
{
    EXPECT_THROW(RunProgram("C:\\nowhere\\program.exe", {}, longestRun), Refusal);
}

TEST(ProgramRun, HandsArgumentsOverAsTheyAre)
{
    const std::vector<std::string> arguments{
        "arguments", "",       "a b",       "C:\\folder\\", "\\\\",
        "say \"x\"", "a\\\"b", "C:\\a b\\", "%PATH% ^& |",  "\u010Eur\u010Dov\u00E1"};
    EXPECT_EQ(nlohmann::json::parse(RunChild(arguments).output), nlohmann::json(arguments));
}
