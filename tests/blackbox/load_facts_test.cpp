// What the library finds out about its host when it is loaded.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

namespace blackbox {
namespace {

class LoadFactsTest : public BlackBoxTest
{
protected:
    std::string FactsUnderName(const std::string& name) const
    {
        const auto host = CopyOfProgram("load_facts_host", Directory(), name);
        const auto probe = ScriptedFolder().parent_path() / "probe" / LibraryFileName("load_facts_probe");
        return OutputOf(Quoted(host) + " " + Quoted(probe));
    }
};

TEST_F(LoadFactsTest, JavaLauncherIsKnownByItsNameWhateverItsCase)
{
    EXPECT_EQ(FactsUnderName("jp2launcher.exe"), "1");
    EXPECT_EQ(FactsUnderName("JP2Launcher.EXE"), "1");
}

TEST_F(LoadFactsTest, OtherHostsAreNone)
{
    for (const char* name : {"jp2launcher2.exe", "p2launcher.exe", "java.exe"}) {
        EXPECT_EQ(FactsUnderName(name), "0") << name;
    }
}

} // namespace
} // namespace blackbox
