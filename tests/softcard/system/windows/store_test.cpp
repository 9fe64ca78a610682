// The store as Windows has it.
#include "softcard/system/files.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/environment.h"
#include "tests/softcard/folders.h"

#include <fstream>
#include <string>
#include <thread>

using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

TEST(WindowsFolders, LieWithTheUsersLocalData)
{
    const TemporaryHome home;
    UnsetVariable("TAVRIK_HOME");
    SetVariable("LOCALAPPDATA", home.Folder() / "Local");
    const Folders given = AskForFolders();
    EXPECT_EQ(given.appData, home.Folder() / "Local" / "Tavrik" / "config" / "");
    EXPECT_EQ(given.userData, home.Folder() / "Local" / "Tavrik" / "state" / "");
    EXPECT_TRUE(fs::is_directory(given.appData));
    EXPECT_TRUE(fs::is_directory(given.userData));

    SetVariable("LOCALAPPDATA", "relative\\does\\not\\count");
    SetVariable("USERPROFILE", home.Folder());
    const Folders byDefault = AskForFolders();
    EXPECT_EQ(byDefault.userData, home.Folder() / "AppData" / "Local" / "Tavrik" / "state" / "");
}

// The names are no names in any code page.
TEST(WindowsFolders, MayHaveAnyName)
{
    const TemporaryHome home;
    const fs::path odd = home.Folder() / L"\u017Dofia \u65E5\u672C \u05D0";
    SetVariable("TAVRIK_HOME", odd);
    EXPECT_EQ(AskForFolders().userData, odd / "state" / "");
    ASSERT_EQ(RunTool({"new", "card", "--puk", "1"}).exitCode, 0);
    ASSERT_EQ(RunTool({"insert", "card"}).exitCode, 0);
    EXPECT_TRUE(fs::exists(odd / "state" / "cards" / "card" / "card.json"));
    Library().initialize(nullptr);
    CardSession session = 0;
    EXPECT_EQ(Library().openSession(u"Reader 0", &session), 0);
    EXPECT_EQ(VerifyBok(session, bok).returned, 0);
    Library().finalize();
}

class WindowsStore : public CardTest
{
};

TEST_F(WindowsStore, TreatsNamesThatDifferInCaseAsTaken)
{
    EXPECT_EQ(RunTool({"new", "REF2", "--puk", "1"}).exitCode, 4) << "the name is taken";
    EXPECT_EQ(RunTool({"insert", "REF2"}).exitCode, 3) << "and still it is not the card's name";
    EXPECT_EQ(RunTool({"insert", "ref2"}).exitCode, 0);
    EXPECT_EQ(RunTool({"insert", "ref3", "reader 0"}).exitCode, 6);
    EXPECT_EQ(RunTool({"unplug", "READER 0"}).exitCode, 11);
    EXPECT_NE(Open(), 0U);
}

TEST_F(WindowsStore, HasNoNamesThatWindowsRefuses)
{
    for (const char* name : {"con", "NUL.card", "com1", "lpt9.x", "ends-with."}) {
        EXPECT_EQ(RunTool({"new", name}).exitCode, 2) << name;
    }
    for (const char* name : {"con", "Reader: 0", "a\\b", "a*", "ends with ", "COM\xC2\xB9", "conin$"}) {
        EXPECT_EQ(RunTool({"plug", name}).exitCode, 2) << name;
    }
    EXPECT_EQ(RunTool({"plug", "console"}).exitCode, 0);
    EXPECT_EQ(RunTool({"plug", "com10"}).exitCode, 0);
}

// A folder with an open file in it cannot be moved, so no lock may lie in a card's folder.
TEST_F(WindowsStore, PutsLockFilesBesideTheCards)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(Library().startTransaction(session), 0);
    VerifyBok(session, bok);
    EXPECT_FALSE(fs::exists(State() / "cards/ref2/transaction"));
    EXPECT_FALSE(fs::exists(State() / "cards/ref2/lock"));
    EXPECT_TRUE(fs::exists(State() / "cards/.ref2.transaction"));
    EXPECT_EQ(RunTool({"list"}).output.find(".ref2"), std::string::npos);
}

// Whoever looks into a file without leave to replace it keeps it only for a moment.
TEST_F(WindowsStore, WaitsForAFileThatIsOpenElsewhere)
{
    const fs::path file = Scratch("file");
    WriteText(file, "old");
    std::ifstream open(file);
    ASSERT_TRUE(open);
    std::thread closing([&open] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        open.close();
    });
    softcard::WriteFileAtomically(file, "new");
    closing.join();
    EXPECT_EQ(softcard::ReadFile(file), "new");
    EXPECT_FALSE(fs::exists(Scratch(".file.new")));
}

TEST_F(WindowsStore, ReplacesNoFolder)
{
    fs::create_directories(Scratch("folder"));
    EXPECT_THROW(softcard::WriteFileAtomically(Scratch("folder"), "text"), std::system_error);
    EXPECT_TRUE(fs::is_directory(Scratch("folder")));
    EXPECT_FALSE(fs::exists(Scratch(".folder.new")));
    EXPECT_THROW(softcard::ReadFile(Scratch("nothing")), std::system_error);
    EXPECT_THROW(softcard::RemoveFile(Scratch("nothing")), std::system_error);
}

} // namespace
