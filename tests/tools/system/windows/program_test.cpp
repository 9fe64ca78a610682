// The program among the devices of Windows.
#include "tests/tools/program_sample.h"
#include "tests/tools/run_tool.h"

#include <string>
#include <vector>

namespace {

class WindowsProgramTest : public ProgramTest
{
};

} // namespace

TEST_F(WindowsProgramTest, PathThatIsADeviceIsNotRead)
{
    const ToolRun run = RunTool({"NUL"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output, "tavrik-log: There is no log in NUL.\n");
}

// So that scripts and other programs get the same bytes on every system.
TEST_F(WindowsProgramTest, LinesThatAreNotForAConsoleEndWithoutACarriageReturn)
{
    WriteSample();
    const std::vector<std::vector<std::string>> commands = {
        {"calls", Folder()}, {"--json", Folder()}, {"--help"}, {"--describe"}, {"--level", "loud"}};
    for (const std::vector<std::string>& arguments : commands) {
        const ToolRun run = RunTool(arguments);
        EXPECT_NE(run.output.find('\n'), std::string::npos) << arguments.front();
        EXPECT_EQ(run.output.find('\r'), std::string::npos) << arguments.front();
    }
}
