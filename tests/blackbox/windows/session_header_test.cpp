// What the header of the log says about Windows.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"

namespace blackbox {
namespace {

using SessionHeaderTest = BlackBoxTest;

TEST_F(SessionHeaderTest, HasTheValuesOfTheCommandProcessorsListing)
{
    Initialize();
    const std::string log = ReadFile(Directory() / "Pkcs11.log");
    const std::string system = "Operating system:   Quick Windows  {\"cs-CZ\"} 64-bit 10.0.1  \r\nDateTime: ";
    EXPECT_NE(log.find(system), std::string::npos) << log;
}

TEST_F(SessionHeaderTest, WithoutAListingHasTheVersionOfWindows)
{
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(Directory()); // where there is only Wine's, which has too little to say
    Initialize();
    std::filesystem::current_path(before);
    const std::string log = ReadFile(Directory() / "Pkcs11.log");
    EXPECT_NE(log.find("Operating system: x64 \r\n "), std::string::npos) << log;
}

} // namespace
} // namespace blackbox
