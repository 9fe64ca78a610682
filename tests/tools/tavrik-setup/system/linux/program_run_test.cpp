#include "tools/tavrik-setup/files/program_run.h"

#include "tools/tavrik-setup/files/refusal.h"

#include <gtest/gtest.h>

using namespace setup;

TEST(ProgramRun, GivesOutputAndExitCode)
{
    const auto result =
        RunProgram("/bin/sh", {"-c", "cat; echo wrong >&2; exit 3"}, std::chrono::seconds(60), "in\n");
    EXPECT_EQ(result.output, "in\nwrong\n");
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(result.inTime);
}

TEST(ProgramRun, KeepsABoundedPartOfTheOutput)
{
    const auto result = RunProgram("/bin/sh", {"-c", "head -c 300000 /dev/zero"}, std::chrono::seconds(60));
    EXPECT_EQ(result.output.size(), 65536U);
    EXPECT_EQ(result.exitCode, 0);
}

TEST(ProgramRun, EndsAProgramThatTakesTooLong)
{
    const auto result = RunProgram("/bin/sleep", {"100"}, std::chrono::seconds(1));
    EXPECT_FALSE(result.inTime);
    EXPECT_EQ(result.exitCode, -1);
}

TEST(ProgramRun, RefusesAProgramThatIsNotThere)
{
    EXPECT_THROW(RunProgram("/nowhere/program", {}, std::chrono::seconds(1)), Refusal);
}
