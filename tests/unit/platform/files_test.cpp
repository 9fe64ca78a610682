#include "src/platform/platform.h"
#include "tests/support/linux/refused_calls.h"
#include "tests/unit/log/log_folder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/syscall.h>

namespace {

using Names = std::vector<std::u16string>;

Names Listed(const LogFolder& folder, const std::u16string& mask)
{
    return Platform::ListEntries(folder.Directory() + mask);
}

} // namespace

TEST(PathOf, TakesUtf16)
{
    EXPECT_EQ(Platform::PathOf(u"/a/Zložka 🗝"), std::filesystem::path("/a/Zložka 🗝"));
    EXPECT_EQ(Platform::PathOf(u""), std::filesystem::path());
}

TEST(PathOf, IsEmptyForHalfASurrogatePair)
{
    EXPECT_EQ(Platform::PathOf(std::u16string(1, char16_t{0xD800})), std::filesystem::path());
}

TEST(WideText, IsUtf16OfTheSystemsText)
{
    EXPECT_EQ(Platform::WideText("Zložka 🗝"), u"Zložka 🗝");
    EXPECT_EQ(Platform::WideText("\xFF"), u"");
    EXPECT_EQ(Platform::WideText("a\xED\xA0\x80"), u"") << "half a surrogate pair";
}

TEST(NarrowPath, IsCutAtTheLimit)
{
    EXPECT_EQ(Platform::NarrowPath("/abc", 4), "/abc");
    EXPECT_EQ(Platform::NarrowPath("/abc", 3), "/ab");
    EXPECT_EQ(Platform::NarrowPath("/abc", 0), "");
    EXPECT_EQ(Platform::NarrowPath("", 5), "");
}

TEST(NarrowPath, CutsNoCharacterApart)
{
    const std::filesystem::path path("a\u017E\U0001F5DDb"); // of 1, 2, 4 and 1 bytes
    EXPECT_EQ(Platform::NarrowPath(path, 8), path.string());
    EXPECT_EQ(Platform::NarrowPath(path, 7), "a\u017E\U0001F5DD");
    EXPECT_EQ(Platform::NarrowPath(path, 6), "a\u017E");
    EXPECT_EQ(Platform::NarrowPath(path, 3), "a\u017E");
    EXPECT_EQ(Platform::NarrowPath(path, 2), "a");
}

TEST(ListEntries, GivesTheNamesThatBeginLikeTheMaskInTheirOrder)
{
    const LogFolder folder;
    for (const char* name : {"b", "ab", "aa.log", "a", "Aa", "xa"}) {
        folder.Write(name, "");
    }
    EXPECT_EQ(Listed(folder, u"a*"), (Names{u"a", u"aa.log", u"ab"}));
    EXPECT_EQ(Listed(folder, u"*"), (Names{u"Aa", u"a", u"aa.log", u"ab", u"b", u"xa"}));
    EXPECT_EQ(Listed(folder, u"none*"), Names{});
}

TEST(ListEntries, GivesTheOneNameOfAMaskWithoutAStar)
{
    const LogFolder folder;
    folder.Write("a", "");
    folder.Write("ab", "");
    EXPECT_EQ(Listed(folder, u"a"), Names{u"a"});
}

TEST(ListEntries, TakesBracketsAndQuestionMarksAsTheyStand)
{
    const LogFolder folder;
    folder.Write("[a]?1", "");
    folder.Write("a1", "");
    EXPECT_EQ(Listed(folder, u"[a]?*"), Names{u"[a]?1"});
}

TEST(ListEntries, GivesFoldersAndLinksToo)
{
    const LogFolder folder;
    std::filesystem::create_directory(folder.Path("a.folder"));
    std::filesystem::create_symlink("nowhere", folder.Path("a.link"));
    EXPECT_EQ(Listed(folder, u"a*"), (Names{u"a.folder", u"a.link"}));
}

TEST(ListEntries, LeavesOutNamesThatHaveNoUtf16)
{
    const LogFolder folder;
    folder.Write("a\xFF.log", "");
    folder.Write("a.log", "");
    EXPECT_EQ(Listed(folder, u"a*"), Names{u"a.log"});
}

TEST(ListEntries, IsEmptyForAFolderThatIsNotThere)
{
    EXPECT_EQ(Platform::ListEntries(u"/no such folder/a*"), Names{});
}

TEST(MoveEntry, MovesFilesAndFolders)
{
    const LogFolder folder;
    folder.Write("from", "text");
    Platform::MoveEntry(folder.Path("from"), folder.Path("to"));
    EXPECT_EQ(folder.Read("to"), "text");
    std::filesystem::create_directory(folder.Path("folder"));
    Platform::MoveEntry(folder.Path("folder"), folder.Path("moved"));
    EXPECT_EQ(folder.Names(), (std::vector<std::string>{"moved", "to"}));
}

TEST(MoveEntry, ReplacesNothing)
{
    const LogFolder folder;
    folder.Write("from", "new");
    folder.Write("to", "old");
    Platform::MoveEntry(folder.Path("from"), folder.Path("to"));
    EXPECT_EQ(folder.Read("from"), "new");
    EXPECT_EQ(folder.Read("to"), "old");
}

// As some file systems and old kernels have it.
TEST(MoveEntry, ReplacesNothingWhereTheSystemHasNoSuchMove)
{
    for (const int error : {EINVAL, ENOSYS}) {
        const LogFolder folder;
        folder.Write("from", "new");
        folder.Write("to", "old");
        blackbox::DoWithRefusedCalls({SYS_renameat2}, static_cast<unsigned>(error), [&folder] {
            Platform::MoveEntry(folder.Path("from"), folder.Path("to"));
            Platform::MoveEntry(folder.Path("to"), folder.Path("free"));
        });
        EXPECT_EQ(folder.Names(), (std::vector<std::string>{"free", "from"})) << error;
        EXPECT_EQ(folder.Read("from"), "new");
        EXPECT_EQ(folder.Read("free"), "old");
    }
}

TEST(MoveEntry, OfNothingDoesNothing)
{
    const LogFolder folder;
    Platform::MoveEntry(folder.Path("from"), folder.Path("to"));
    EXPECT_TRUE(folder.Names().empty());
}

TEST(RemoveFile, TakesAFileAwayAndNoFolder)
{
    const LogFolder folder;
    folder.Write("file", "");
    std::filesystem::create_directory(folder.Path("folder"));
    for (const char* name : {"file", "folder", "nothing"}) {
        Platform::RemoveFile(folder.Path(name));
    }
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"folder"});
}
