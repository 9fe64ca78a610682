// The library leaves with its process.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

namespace blackbox {
namespace {

using ProcessEndTest = BlackBoxTest;

TEST_F(ProcessEndTest, ProcessMayEndWhileTheLibraryIsInitialised)
{
    WriteFile(Directory() / "config.json", R"({"log": {"logFromLevel": "LogLevel_Debug"}})");
    EXPECT_EQ(OutputOf(LogHostCommand(Directory(), 1, "leave")), ""); // which throws when the status isn't 0
    const std::string log = ReadFile(Directory() / "Pkcs11.log");
    EXPECT_EQ(CountOf(log, "PKCS11_FUNCTION_ENTERING\r\n"), 1U) << "C_Finalize is not called";
}

} // namespace
} // namespace blackbox
