// Where the library looks when the user's home is of no use.
#include "softcard/system/files.h"
#include "softcard/system/linux/file_descriptor.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/environment.h"
#include "tests/softcard/system/linux/account_host.h"

#include <sstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace softcard::test {

std::map<std::string, std::string> RunAccountHost(const std::filesystem::path& program,
                                                  const std::filesystem::path& homeOfAccount,
                                                  const std::filesystem::path& unwritableFolder)
{
    const Finished finished =
        RunProgram({program.string(), homeOfAccount.string(), unwritableFolder.string()});
    EXPECT_EQ(finished.exitCode, 0) << finished.errors;
    std::map<std::string, std::string> told;
    std::istringstream lines(finished.output);
    for (std::string line; std::getline(lines, line);) {
        const size_t space = line.find(' ');
        told[line.substr(0, space)] = line.substr(space + 1);
    }
    return told;
}

} // namespace softcard::test

using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

// No store is named, the current folder is an empty one, and the account's home is another.
class Homes : public testing::Test
{
protected:
    Homes() : userHome(FromEnvironment("HOME")), before(fs::current_path())
    {
        UnsetVariable("TAVRIK_HOME");
        for (const char* name : {"here", "account"}) {
            fs::create_directory(home.Folder() / name);
        }
        fs::current_path(home.Folder() / "here");
    }

    ~Homes() override
    {
        fs::current_path(before);
        SetVariable("HOME", userHome);
    }

    [[nodiscard]] fs::path Below(const std::string& name) const { return home.Folder() / name; }
    [[nodiscard]] bool NothingIsHere() const { return fs::is_empty(Below("here")); }

    // A folder that is there and belongs to another user.
    [[nodiscard]] fs::path HomeOfAnother() const
    {
        if (geteuid() != 0) {
            return "/";
        }
        fs::path folder = Below("another");
        fs::create_directory(folder);
        EXPECT_EQ(chown(folder.c_str(), 65534, 65534), 0);
        fs::permissions(folder, fs::perms(0777));
        return folder;
    }

    void ExpectTheAccounts(const std::map<std::string, std::string>& told) const
    {
        const std::string account = Below("account").string();
        EXPECT_EQ(told.at("state"), account + "/.local/state/tavrik");
        EXPECT_EQ(told.at("config"), account + "/.config/tavrik/");
        EXPECT_EQ(told.at("log"), account + "/.local/state/tavrik/");
        EXPECT_EQ(told.at("opened"), std::to_string(eStatusUNKNOWN_READER)) << "the library has started";
        EXPECT_TRUE(NothingIsHere());
    }

private:
    TemporaryHome home;
    std::string userHome;
    fs::path before;
};

TEST_F(Homes, UnusableHomeIsReplacedByTheAccounts)
{
    WriteText(Below("file"), "");
    for (const fs::path& useless :
         {fs::path(), fs::path("relative"), Below("missing"), Below("file"), HomeOfAnother()}) {
        SCOPED_TRACE(useless);
        SetVariable("HOME", useless);
        ExpectTheAccounts(RunAccountHost(ACCOUNT_HOST, Below("account")));
    }
    UnsetVariable("HOME");
    ExpectTheAccounts(RunAccountHost(ACCOUNT_HOST, Below("account")));
}

TEST_F(Homes, XdgFoldersOfAnotherUserAreIgnored)
{
    SetVariable("XDG_CONFIG_HOME", HomeOfAnother());
    SetVariable("XDG_STATE_HOME", HomeOfAnother());
    SetVariable("HOME", Below("account"));
    const auto told = RunAccountHost(ACCOUNT_HOST, Below("missing"));
    UnsetVariable("XDG_CONFIG_HOME");
    UnsetVariable("XDG_STATE_HOME");
    ExpectTheAccounts(told);
}

// The folder of the last resort is that of the user who runs the test, with what lies there already. Tests that run at the
// same time would write and remove one log there.
class LastResort : public Homes
{
protected:
    LastResort() : alone(open("/var/tmp", O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        EXPECT_EQ(flock(alone.Get(), LOCK_EX), 0);
    }

private:
    softcard::FileDescriptor alone;
};

TEST_F(LastResort, UnusableOnesAreReplacedByAPrivateFolderAndLogged)
{
    SetVariable("HOME", Below("missing"));
    const auto told = RunAccountHost(ACCOUNT_HOST, Below("missing too"));
    const std::string reason = "There is no folder for the cards. HOME is \"" + Below("missing").string() +
                               "\", which does not exist; the home of the user's account is \"" +
                               Below("missing too").string() +
                               "\", which does not exist. Set TAVRIK_HOME to a folder of your own.";
    EXPECT_EQ(told.at("refused"), reason);
    EXPECT_EQ(told.at("opened"), std::to_string(eLibraryNotInitialized));
    EXPECT_TRUE(NothingIsHere());
    for (const char* folder : {"config", "log"}) {
        const fs::path path = told.at(folder);
        EXPECT_TRUE(path.is_absolute());
        struct stat facts
        {
        };
        ASSERT_EQ(stat(path.parent_path().parent_path().c_str(), &facts), 0) << path;
        EXPECT_EQ(facts.st_uid, geteuid());
        EXPECT_EQ(facts.st_mode & 07777U, 0700U) << path;
    }
    const fs::path log = told.at("log") + "Pkcs11.log";
    const std::string lines = softcard::ReadFile(log);
    EXPECT_TRUE(lines.ends_with(";         CardAPI; The cards cannot be reached: " + reason + "\r\n"))
        << lines;
    EXPECT_EQ(lines.rfind(" ERR; ", lines.size() - reason.size()) == std::string::npos, false);
    fs::remove(log);
}

TEST_F(LastResort, UnwritableOnesAreReplacedByAPrivateFolder)
{
    SetVariable("HOME", "/proc"); // which is root's, and takes nothing
    const auto told = RunAccountHost(ACCOUNT_HOST, "/proc");
    EXPECT_TRUE(fs::path(told.at("config")).is_absolute());
    EXPECT_FALSE(told.at("config").starts_with("/proc"));
    EXPECT_FALSE(told.at("log").starts_with("/proc"));
    EXPECT_TRUE(NothingIsHere());
    EXPECT_EQ(told.at("opened"), std::to_string(eLibraryNotInitialized));
    fs::remove(told.at("log") + "Pkcs11.log");
}

TEST_F(LastResort, UnwritableOneIsReplacedByTheAccounts)
{
    const fs::path locked = Below("locked");
    fs::create_directory(locked);
    SetVariable("HOME", locked);
    ExpectTheAccounts(RunAccountHost(ACCOUNT_HOST, Below("account"), locked));

    const auto told = RunAccountHost(ACCOUNT_HOST, locked, locked);
    EXPECT_NE(told.at("refused").find("\"" + locked.string() + "\", which cannot be written to;"),
              std::string::npos)
        << told.at("refused");
    fs::remove(told.at("log") + "Pkcs11.log");
}

TEST_F(Homes, UnwritableOneThatHasTheFoldersIsUsed)
{
    const fs::path locked = Below("locked");
    for (const char* folder : {".config/tavrik", ".local/state/tavrik"}) {
        fs::create_directories(locked / folder);
    }
    SetVariable("HOME", locked);
    const auto told = RunAccountHost(ACCOUNT_HOST, Below("account"), locked);
    EXPECT_EQ(told.at("state"), locked / ".local/state/tavrik");
    fs::remove(locked / ".config/tavrik");
    ExpectTheAccounts(RunAccountHost(ACCOUNT_HOST, Below("account"), locked));
}

TEST_F(LastResort, TooLongPathsAreReplacedByAPrivateFolder)
{
    fs::path deep = Below("deep");
    while (deep.native().size() < 1100) {
        deep /= std::string(200, 'd');
    }
    fs::create_directories(deep);
    SetVariable("HOME", deep);
    const auto told = RunAccountHost(ACCOUNT_HOST, Below("account"));
    EXPECT_TRUE(fs::path(told.at("config")).is_absolute()) << told.at("config");
    EXPECT_TRUE(fs::path(told.at("log")).is_absolute()) << told.at("log");
    EXPECT_TRUE(NothingIsHere());
}

} // namespace
