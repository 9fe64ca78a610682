// Files of the store when the system refuses something: the error is told with its number, and what was there stays.
#include "softcard/system/files.h"
#include "softcard/system/linux/link_file.h"
#include "tests/support/linux/refused_calls.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

using namespace softcard;

namespace {

namespace fs = std::filesystem;

// The number that the work's std::system_error has while the call is refused with that number; 0 without one.
int ErrorOf(int call, int error, const std::function<void()>& work)
{
    try {
        blackbox::DoWithRefusedCalls({static_cast<unsigned>(call)}, static_cast<unsigned>(error), work);
    } catch (const std::system_error& thrown) {
        EXPECT_EQ(thrown.code().category(), std::generic_category());
        return thrown.code().value();
    }
    return 0;
}

// As long as this lives, no file of the process gets longer than one byte.
class ShortFiles
{
public:
    ShortFiles() : handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit oneByte{1, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &oneByte);
    }
    ~ShortFiles()
    {
        setrlimit(RLIMIT_FSIZE, &before);
        static_cast<void>(std::signal(SIGXFSZ, handler));
    }
    ShortFiles(const ShortFiles&) = delete;
    ShortFiles& operator=(const ShortFiles&) = delete;

private:
    void (*handler)(int);
    rlimit before{};
};

class RefusedFiles : public testing::Test
{
protected:
    RefusedFiles() { WriteFileAtomically(file, "old"); }

    [[nodiscard]] std::string Content() const { return ReadFile(file); }
    [[nodiscard]] fs::path Below(const std::string& name) const { return folder.Path() / name; }
    [[nodiscard]] long Entries() const
    {
        return std::distance(fs::directory_iterator(folder.Path()), fs::directory_iterator());
    }

private:
    TemporaryFolder folder{"files"};

protected:
    const fs::path file = Below("file");
};

TEST_F(RefusedFiles, ReplacedFileStaysAndNothingLiesBesideIt)
{
    for (const int call : {SYS_fsync, SYS_rename}) {
        EXPECT_EQ(ErrorOf(call, EIO, [this] { WriteFileAtomically(file, "new"); }), EIO) << call;
        EXPECT_EQ(Content(), "old") << call;
        EXPECT_EQ(Entries(), 1) << call;
    }
}

TEST_F(RefusedFiles, FileThatCannotBeWrittenToItsEndIsNoFile)
{
    {
        const ShortFiles limit;
        EXPECT_THROW(WriteFileAtomically(file, "new"), std::system_error);
        EXPECT_THROW(AppendToFile(file, "more"), std::system_error);
    }
    EXPECT_EQ(Content(), "old");
    EXPECT_EQ(Entries(), 1);
}

TEST_F(RefusedFiles, FileThatCannotBeReadOrExaminedHasNoContent)
{
    EXPECT_EQ(ErrorOf(SYS_read, EIO, [this] { ReadFile(file); }), EIO);
    // One of the two is what fstat calls, in a sanitizer's program another one than elsewhere.
    EXPECT_THROW(blackbox::DoWithRefusedCalls({SYS_newfstatat, SYS_fstat}, EIO, [this] { ReadFile(file); }),
                 std::system_error);
}

// A file of the system that says it is empty, and is not.
TEST_F(RefusedFiles, FileThatGrowsWhileItIsReadIsTooLarge)
{
    try {
        ReadFile("/proc/self/pagemap");
        FAIL() << "it has been read";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), FileFault::tooLarge);
    }
}

TEST_F(RefusedFiles, LockThatTheDiskDoesNotHaveIsNotTaken)
{
    EXPECT_EQ(ErrorOf(SYS_flock, ENOLCK, [this] { const FileLock lock(file); }), ENOLCK);
    EXPECT_EQ(ErrorOf(SYS_flock, ENOLCK, [this] { FileLock::Try(file); }), ENOLCK);
    EXPECT_EQ(ErrorOf(SYS_flock, ENOLCK, [this] { FileLock::TryShared(file); }), ENOLCK);
}

TEST_F(RefusedFiles, FoldersAreNotMade)
{
    EXPECT_EQ(ErrorOf(SYS_mkdir, EROFS, [this] { EnsurePrivateFolder(Below("folder")); }), EROFS);
    EXPECT_EQ(ErrorOf(SYS_mkdir, EROFS, [this] { MakeUniqueFolder(Below("folder")); }), EROFS);
    EXPECT_EQ(Entries(), 1);
}

TEST_F(RefusedFiles, FolderIsMovedWhereTheSystemCannotRefuseToReplace)
{
    for (const int error : {EINVAL, ENOSYS}) {
        fs::create_directories(Below("from/inner"));
        fs::create_directories(Below("taken/inner"));
        const auto move = [this](const char* place) {
            return [this, place] { EXPECT_EQ(MoveFolder(Below("from"), Below(place)), place[0] == 'f'); };
        };
        EXPECT_EQ(ErrorOf(SYS_renameat2, error, move("taken")), 0) << error;
        EXPECT_TRUE(fs::exists(Below("from/inner")));
        EXPECT_EQ(ErrorOf(SYS_renameat2, error, move("free")), 0) << error;
        EXPECT_TRUE(fs::exists(Below("free/inner")));
        fs::remove_all(Below("free"));
    }
}

TEST_F(RefusedFiles, FolderIsNotMoved)
{
    fs::create_directory(Below("from"));
    EXPECT_EQ(ErrorOf(SYS_renameat2, EXDEV, [this] { MoveFolder(Below("from"), Below("to")); }), EXDEV);
    EXPECT_TRUE(fs::exists(Below("from")));
}

TEST_F(RefusedFiles, LinkIsNotMadeAndNothingLiesBesideIt)
{
    for (const int call : {SYS_symlink, SYS_rename, SYS_fsync}) {
        EXPECT_EQ(ErrorOf(call, EPERM, [this] { LinkAtomically("there", Below("link")); }), EPERM) << call;
        EXPECT_FALSE(fs::is_symlink(Below("link"))) << call;
    }
}

TEST_F(RefusedFiles, FileThatMayNotBeRemovedStays)
{
    EXPECT_EQ(ErrorOf(SYS_unlink, EACCES, [this] { RemoveFile(file); }), EACCES);
    EXPECT_EQ(Content(), "old");
}

} // namespace
