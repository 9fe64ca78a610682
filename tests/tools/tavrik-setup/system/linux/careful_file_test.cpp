#include "tests/tools/tavrik-setup/careful_file_fixture.h"

#include <string>

#include <sys/stat.h>
#include <unistd.h>

using namespace setup;
namespace fs = std::filesystem;

namespace {

constexpr uid_t someoneElse = 65534;

struct stat Facts(const fs::path& path)
{
    struct stat facts
    {
    };
    EXPECT_EQ(lstat(path.c_str(), &facts), 0);
    return facts;
}

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
    fs::create_symlink(file.filename(), file);
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
