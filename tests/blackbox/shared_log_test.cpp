// Processes that log into one folder. Their lines stay whole, because the system appends each in one piece, or because
// they take turns.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

namespace blackbox {
namespace {

using SharedLogTest = BlackBoxTest;

// The number of lines that append_host of that name has written, each whole and behind the one before.
int LinesOfHost(const std::vector<std::string>& lines, const std::string& name)
{
    int count = 0;
    for (const std::string& line : lines) {
        if (line == name + " " + std::to_string(count) + " end") {
            ++count;
        }
    }
    return count;
}

// The file stays below the size at which it is retired.
TEST_F(SharedLogTest, LinesOfEightProcessesAreWholeAndAllThere)
{
    WriteFile(Directory() / "config.json",
              R"({"log": {"extensive": true, "logFromLevel": "LogLevel_Debug"}})");
    constexpr unsigned hosts = 8;
    constexpr int calls = 500; // 2 lines each
    RunLogHosts(Directory(), hosts, calls);
    const std::string text = ReadFile(Directory() / "Pkcs11.log");
    EXPECT_EQ(CountOf(text, "PKCS11_FUNCTION_ENTERING; ThID: 0x"), hosts * (calls + 1));
    EXPECT_EQ(CountOf(text, "VERB: C_GetInfo\r\n"), hosts * 2 * calls);
    EXPECT_EQ(CountOf(text, "CardAPI, version: "), hosts);
}

// What they do to a log of any size; a real one would be retired before.
TEST_F(SharedLogTest, HundredThousandLinesAreAppendedByEightProcesses)
{
    constexpr int hosts = 8;
    constexpr int linesOfEach = 12500;
    const auto file = Directory() / "appended.log";
    std::vector<std::string> commands;
    commands.reserve(hosts);
    for (int host = 0; host < hosts; ++host) {
        commands.push_back(Quoted(ProgramBeside("append_host")) + " " + Quoted(file) + " host" +
                           std::to_string(host) + " " + std::to_string(linesOfEach));
    }
    RunTogether(commands);
    const auto lines = LinesOf(ReadFile(file));
    EXPECT_EQ(lines.size(), hosts * linesOfEach);
    for (int host = 0; host < hosts; ++host) {
        EXPECT_EQ(LinesOfHost(lines, "host" + std::to_string(host)), linesOfEach) << host;
    }
}

} // namespace
} // namespace blackbox
