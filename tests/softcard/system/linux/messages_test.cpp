// What the tool says of names and files that only Linux has, and the manual.
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"

#include <algorithm>
#include <string>

using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

class LinuxMessages : public CardTest
{
};

// What the tool would refuse is in no list, and in no reader.
TEST_F(LinuxMessages, DoNotListACardWithAnInvalidName)
{
    for (const char* name : {"a b", "$(id)", "red\x1B[31m", "-\xC3\xA9"}) {
        fs::copy(State() / "cards/ref1", State() / "cards" / name);
    }
    fs::create_directories(State() / "readers/Reader 0");
    fs::create_symlink("../../cards/a b", State() / "readers/Reader 0/card");
    const std::string listed = RunTool({"list"}).output;
    EXPECT_EQ(std::count(listed.begin(), listed.end(), '\n'), 5) << listed;
    CardSession session = 0;
    EXPECT_EQ(Library().openSession(u"Reader 0", &session), eStatusNO_SMARTCARD);
}

TEST_F(LinuxMessages, NameALinkToADeviceThatTakesNothing)
{
    std::filesystem::create_symlink("/dev/full", Scratch("full"));
    const std::string file = Scratch("full").string();
    const Finished failed = RunTool({"export-certificate", "ref2", "es", "--out", file});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_TRUE(failed.errors.starts_with("tavrik-card: The file \"" + file + "\" ")) << failed.errors;
}

// The text of the manual, whose making says nothing.
std::string ReadManual()
{
    const Finished made =
        RunProgram({"env", "MANWIDTH=200", "man", "--warnings", "-E", "UTF-8", "-l", MANUAL});
    EXPECT_EQ(made.exitCode, 0);
    EXPECT_EQ(made.errors, "");
    return made.output;
}

TEST(Manual, IsMadeWithoutAWarningAndTellsWhatCodesAreTaken)
{
    const std::string manual = ReadManual();
    for (const char* told : {"--version", "ps(1)", "123456", "654321", "eight digits"}) {
        EXPECT_NE(manual.find(told), std::string::npos) << told;
    }
}

} // namespace
