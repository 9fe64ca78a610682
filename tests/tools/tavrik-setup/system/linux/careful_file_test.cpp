#include "tools/tavrik-setup/files/careful_file.h"

#include "tests/support/temporary_folder.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

using namespace setup;
namespace fs = std::filesystem;

namespace {

constexpr uid_t someoneElse = 65534;

class CarefulFile : public testing::Test
{
protected:
    void Write(const fs::path& path, const std::string& content)
    {
        std::ofstream(path, std::ios::binary) << content;
    }

    // Nothing lies beside the files that the test has made.
    [[nodiscard]] size_t Count() const
    {
        return static_cast<size_t>(
            std::distance(fs::directory_iterator(folder.Path()), fs::directory_iterator()));
    }

    static struct stat Facts(const fs::path& path)
    {
        struct stat facts
        {
        };
        EXPECT_EQ(lstat(path.c_str(), &facts), 0);
        return facts;
    }

    TemporaryFolder folder{"careful-file-"};
    fs::path file = folder.Path() / "config";
};

} // namespace

TEST_F(CarefulFile, KeepsModeAndOwner)
{
    Write(file, "before");
    chmod(file.c_str(), 0640);
    if (geteuid() == 0) {
        ASSERT_EQ(chown(file.c_str(), someoneElse, someoneElse), 0);
    }
    const struct stat before = Facts(file);
    ReplaceContent(file, "before", "after", Readers::owner);
    const struct stat after = Facts(file);
    EXPECT_EQ(ReadIfThere(file), "after");
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    EXPECT_NE(after.st_ino, before.st_ino) << "it was written in place";
    EXPECT_EQ(Count(), 1U);
}

TEST_F(CarefulFile, NewOneGetsItsModeWhateverTheMaskIs)
{
    const mode_t mask = umask(0);
    ReplaceContent(file, std::nullopt, "x", Readers::owner);
    umask(mask);
    EXPECT_EQ(Facts(file).st_mode & 07777, 0600U);
}

// Root alone can make a link of another user, so that part is left out elsewhere.
TEST_F(CarefulFile, FollowsLinksOfTheUserAloneAndKeepsThem)
{
    fs::create_directory(folder.Path() / "dotfiles");
    const fs::path target = folder.Path() / "dotfiles" / "ssh";
    Write(target, "before");
    fs::create_symlink("dotfiles/ssh", file);
    ReplaceContent(file, "before", "after", Readers::owner);
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_EQ(ReadIfThere(target), "after");
    if (geteuid() == 0) {
        ASSERT_EQ(lchown(file.c_str(), someoneElse, someoneElse), 0);
        EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
        EXPECT_THROW(ReplaceContent(file, "after", "other", Readers::owner), Refusal);
        EXPECT_EQ(ReadIfThere(target), "after");
    }
}

TEST_F(CarefulFile, RefusesALinkThatLeadsNowhereOrInACircle)
{
    fs::create_symlink("nowhere", file);
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
    fs::remove(file);
    fs::create_symlink("config", file);
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
}

TEST_F(CarefulFile, RefusesFoldersThatOthersCanWriteTo)
{
    Write(file, "before");
    chmod(folder.Path().c_str(), 0777);
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
    chmod(folder.Path().c_str(), 01777);
    EXPECT_EQ(ReadIfThere(file), "before");
    if (geteuid() == 0) {
        ASSERT_EQ(chown(folder.Path().c_str(), someoneElse, someoneElse), 0);
        EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
    }
}

TEST_F(CarefulFile, RefusesWhatIsNoRegularFileWithoutWaiting)
{
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
    fs::remove(file);
    fs::create_directory(file);
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
    fs::remove(file);
    fs::create_symlink("/dev/zero", file);
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
}

TEST_F(CarefulFile, RefusesWhatIsTooLarge)
{
    Write(file, std::string(1048577, 'x'));
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
}

TEST_F(CarefulFile, LeavesAFileThatHasChangedMeanwhile)
{
    Write(file, "other");
    EXPECT_THROW(ReplaceContent(file, "before", "after", Readers::owner), Refusal);
    EXPECT_THROW(ReplaceContent(file, std::nullopt, "after", Readers::owner), Refusal);
    EXPECT_THROW(RemoveFile(file, "before"), Refusal);
    EXPECT_EQ(ReadIfThere(file), "other");
    EXPECT_EQ(Count(), 1U);
}

TEST_F(CarefulFile, ThatIsNotThereHasNoContent)
{
    EXPECT_EQ(ReadIfThere(file), std::nullopt);
    EXPECT_EQ(ReadIfThere(folder.Path() / "no" / "folder"), std::nullopt);
}

TEST_F(CarefulFile, MakesFoldersAndTakesThemAwayWhenTheyAreEmpty)
{
    const fs::path deep = folder.Path() / "a" / "b";
    const auto made = MakeFolders(deep, Readers::owner);
    ASSERT_EQ(made, (std::vector{deep.parent_path(), deep}));
    EXPECT_TRUE(MakeFolders(deep, Readers::owner).empty());
    Write(deep.parent_path() / "mine", "x");
    DeleteEmptyFolders(made);
    EXPECT_FALSE(fs::exists(deep));
    EXPECT_TRUE(fs::exists(deep.parent_path()));
}
