// A log that somebody holds: Windows moves no file that is open elsewhere.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"

#include <fstream>

namespace blackbox {
namespace {

using HeldLogTest = BlackBoxTest;

TEST_F(HeldLogTest, FullLogStaysWhileOldOnesMoveUp)
{
    WriteFile(Directory() / "Pkcs11.log", std::string(2097153, 'x'));
    WriteFile(Directory() / "Pkcs11_1.log", "older");
    const std::ifstream reader(Directory() / "Pkcs11.log");
    ASSERT_TRUE(reader.is_open());
    Initialize();
    EXPECT_EQ(ReadFile(Directory() / "Pkcs11_2.log"), "older");
    EXPECT_FALSE(std::filesystem::exists(Directory() / "Pkcs11_1.log"));
    const std::string log = ReadFile(Directory() / "Pkcs11.log");
    EXPECT_EQ(log.substr(0, 2097153), std::string(2097153, 'x'));
    EXPECT_TRUE(log.substr(2097153).starts_with("CardAPI, version: ")) << "appended, with a new header";
}

TEST_F(HeldLogTest, LogAndConfigurationCanBeReadWhileTheLibraryWrites)
{
    WriteFile(Directory() / "config.json", R"({"log": {"logFromLevel": "LogLevel_Debug"}})");
    const std::ifstream configuration(Directory() / "config.json");
    Initialize();
    CK_INFO info{};
    ASSERT_EQ(f->C_GetInfo(&info), CKR_OK);
    EXPECT_NE(ReadFile(Directory() / "Pkcs11.log").find("PKCS11_FUNCTION_LEAVING, result 0"),
              std::string::npos);
}

} // namespace
} // namespace blackbox
