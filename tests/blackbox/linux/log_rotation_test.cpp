// Processes that log into one folder, and retire its files. On Windows a file that another process has open stays.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"

namespace blackbox {
namespace {

using SharedLogRotationTest = BlackBoxTest;

TEST_F(SharedLogRotationTest, HundredThousandLinesOfEightProcessesAreWholeAndAllThere)
{
    WriteFile(Directory() / "config.json",
              R"({"log": {"extensive": true, "logFromLevel": "LogLevel_Debug", "fileCount": 255}})");
    constexpr unsigned hosts = 8;
    constexpr int calls = 6250; // 2 lines each, of some 150 bytes
    RunLogHosts(Directory(), hosts, calls);
    size_t lines = 0;
    size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(Directory())) {
        lines += CountOf(ReadFile(entry), "VERB: C_GetInfo\r\n");
        files += entry.path().extension() == ".log" ? 1U : 0U;
    }
    EXPECT_EQ(lines, hosts * 2 * calls);
    EXPECT_GE(files, 2U);
}

} // namespace
} // namespace blackbox
