// What the library says in the host's log when it cannot start.
#include "softcard/system/files.h"
#include "src/log/log_settings.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/environment.h"

#include <regex>

using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

// No name on Windows can have the end of a line.
const char* const nameOfTwoLines = fs::path::preferred_separator == '/' ? "a\nb"
                                                                        : "a\x7F"
                                                                          "b";

// The store cannot be: a file lies in the place of its folder, whose name would begin a line of its own.
class LibraryLogTest : public testing::Test
{
protected:
    LibraryLogTest()
    {
        WriteText(home.Folder() / nameOfTwoLines, "");
        SetVariable("TAVRIK_HOME", home.Folder() / nameOfTwoLines);
        settings.logDirectory = (home.Folder() / "").u16string();
        settings.logFileName = u"Pkcs11";
    }

    [[nodiscard]] fs::path LogFile() const { return home.Folder() / "Pkcs11.log"; }

    // Starts the library with the settings, and gives what it has logged.
    [[nodiscard]] std::string LoggedWith(const LogSettings* given) const
    {
        Library().initialize(given);
        Library().finalize();
        return fs::exists(LogFile()) ? softcard::ReadFile(LogFile()) : std::string();
    }

    void ExpectLine(LogTimeFormat format, const std::string& time)
    {
        fs::remove(LogFile());
        settings.timeFormat = format;
        const std::regex line(" ERR; " + time + ";         CardAPI; ([^\r\n]*)\r\n");
        const std::string logged = LoggedWith(&settings);
        std::smatch parts;
        ASSERT_TRUE(std::regex_match(logged, parts, line)) << logged;
        const std::string folder = home.Folder().string() + fs::path("/a?b/config").make_preferred().string();
        EXPECT_TRUE(parts.str(1).starts_with("The cards cannot be reached: " + folder + ": ")) << logged;
    }

    LogSettings settings;

private:
    TemporaryHome home;
};

TEST_F(LibraryLogTest, HasTheTimeInTheFormatOfTheOtherLines)
{
    const std::string date = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}";
    ExpectLine(LogTimeFormat_DateTime, date);
    ExpectLine(LogTimeFormat_DateTimeMillisec, date + " 00000000");
    ExpectLine(LogTimeFormat_Millisec, "00000000");
}

TEST_F(LibraryLogTest, HasNothingWithoutAFile)
{
    EXPECT_EQ(LoggedWith(nullptr), "");
    settings.logToFile = false;
    EXPECT_EQ(LoggedWith(&settings), "");
    settings.logToFile = true;
    settings.logFileName = std::u16string(1, char16_t{0xD800}); // half a surrogate pair
    EXPECT_EQ(LoggedWith(&settings), "");
    settings.logFileName = u"missing/Pkcs11";
    EXPECT_EQ(LoggedWith(&settings), "");
}

} // namespace
