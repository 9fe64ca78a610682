// The console as a sink of the log, in a process of its own.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

namespace blackbox {
namespace {

class LogSinksTest : public BlackBoxTest
{
protected:
    void Configure(const std::string& sinks) const { ConfigureSinks(Directory(), sinks); }
};

TEST_F(LogSinksTest, ConsoleSinkWritesToAPipe)
{
    Configure(R"("logToConsole": true, "logToFile": false)");
    const std::string text = OutputOf(LogHostCommand(Directory(), 1));
    EXPECT_TRUE(text.starts_with("CardAPI, version: v4.8_RC2\r\nProcess name: ")) << text;
    EXPECT_EQ(CountOf(text, "CardAPI, version"), 1U);
    const auto lines = LinesOf(text);
    ASSERT_GE(lines.size(), 2U);
    EXPECT_TRUE(lines.back().ends_with("PKCS11_FUNCTION_LEAVING, result 0 CKR_OK")) << "that of C_Finalize";
    EXPECT_EQ(CountOf(text, "PKCS11_FUNCTION_ENTERING\r\n"), 2U);
    EXPECT_EQ(ReadFile(Directory() / "Pkcs11.log"), "");
}

TEST_F(LogSinksTest, ConsoleSinkAndFileSinkShowTheSame)
{
    Configure(R"("logToConsole": true, "extensive": true)");
    const std::string text = OutputOf(LogHostCommand(Directory(), 3));
    EXPECT_EQ("\r\n" + std::string(71, '-') + "\r\n" + text, ReadFile(Directory() / "Pkcs11.log"));
}

TEST_F(LogSinksTest, FunctionListTakenAfterTheStartTurnsTheConsoleOff)
{
    Configure(R"("logToConsole": true, "logToFile": false)");
    const std::string text = OutputOf(LogHostCommand(Directory(), 5, "list"));
    EXPECT_TRUE(text.starts_with("CardAPI, version: "));
    EXPECT_EQ(CountOf(text, "PKCS11_FUNCTION_ENTERING"), 0U);
}

} // namespace
} // namespace blackbox
