// Names of hosts that only a system without extensions has.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

namespace blackbox {
namespace {

class HostNameWithoutExtensionTest : public BlackBoxTest
{
protected:
    std::string OutputUnderName(const std::string& name) const
    {
        WriteFile(Directory() / "config.json", R"({"log": {"logToConsole": true, "logToFile": false}})");
        return OutputOf(LogHostCommand(Directory(), 0, "", CopyOfLogHost(Directory(), name)));
    }
};

TEST_F(HostNameWithoutExtensionTest, FourCharactersGoWhateverTheyAre)
{
    for (const char* name : {"quillsign.bin", "Quillsign-x64"}) {
        EXPECT_EQ(OutputUnderName(name), "") << name;
    }
    for (const char* name : {"Quillsign", "Quillsign.html"}) {
        EXPECT_TRUE(OutputUnderName(name).starts_with("CardAPI, version: ")) << name;
    }
}

TEST_F(HostNameWithoutExtensionTest, ShortNameIsComparedUncut)
{
    EXPECT_TRUE(OutputUnderName("log").starts_with("CardAPI, version: "));
}

} // namespace
} // namespace blackbox
