// Processes that log into one folder. Their lines stay whole, because the system appends each in one piece.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

namespace blackbox {
namespace {

using SharedLogTest = BlackBoxTest;

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

} // namespace
} // namespace blackbox
