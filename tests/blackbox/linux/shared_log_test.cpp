// Two processes that log into one folder. Their lines stay whole, because the system appends each in one
// piece.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

namespace blackbox {
namespace {

class SharedLogTest : public BlackBoxTest
{
protected:
    void Configure(const std::string& text) const { WriteFile(Directory() / "config.json", text); }

    void RunTwoHosts(int calls) const
    {
        const std::string host = LogHostCommand(Directory(), calls);
        OutputOf(host + " & " + host + "; wait");
    }
};

TEST_F(SharedLogTest, LinesOfTwoProcessesInOneFileAreWhole)
{
    Configure(R"({"log": {"extensive": true, "logFromLevel": "LogLevel_Debug"}})");
    constexpr int calls = 2000;
    RunTwoHosts(calls);
    const std::string text = ReadFile(Directory() / "Pkcs11.log");
    EXPECT_EQ(CountOf(text, "PKCS11_FUNCTION_ENTERING; ThID: 0x"), 2U * (calls + 1));
    EXPECT_EQ(CountOf(text, "VERB: C_GetInfo\r\n"), 4U * calls);
    EXPECT_EQ(CountOf(text, "CardAPI, version: "), 2U);
}

TEST_F(SharedLogTest, LinesOfTwoProcessesThatRotateAreWholeAndAllThere)
{
    Configure(R"({"log": {"extensive": true, "logFromLevel": "LogLevel_Debug", "fileCount": 255}})");
    constexpr int calls = 8000; // 2 lines each, of some 150 bytes
    RunTwoHosts(calls);
    size_t lines = 0;
    size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(Directory())) {
        lines += CountOf(ReadFile(entry), "VERB: C_GetInfo\r\n");
        files += entry.path().extension() == ".log" ? 1U : 0U;
    }
    EXPECT_EQ(lines, 4U * calls);
    EXPECT_GE(files, 2U);
}

} // namespace
} // namespace blackbox
