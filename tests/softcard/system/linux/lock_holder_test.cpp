// Who holds a lock, as the system tells it.
#include "softcard/system/files.h"
#include "softcard/system/lock_holder.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <string>

#include <unistd.h>

namespace softcard {
namespace {

class LockHolderTest : public testing::Test
{
protected:
    [[nodiscard]] std::filesystem::path File() const { return folder.Path() / "lock"; }

private:
    TemporaryFolder folder{"tavrik_lock_holder_"};
};

TEST_F(LockHolderTest, TellsTheProgramAndItsProcess)
{
    const FileLock lock(File());
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").filename().string();
    EXPECT_EQ(LockHolder(File()), program + " (process " + std::to_string(getpid()) + ")");
}

TEST_F(LockHolderTest, TellsNothingOfALockThatNobodyHolds)
{
    EXPECT_EQ(LockHolder(File()), std::nullopt) << "no file";
    static_cast<void>(FileLock::Try(File())); // and over
    EXPECT_EQ(LockHolder(File()), std::nullopt);
}

TEST_F(LockHolderTest, TellsNothingOfALockThatSeveralMayHold)
{
    const auto lock = FileLock::TryShared(File());
    EXPECT_EQ(LockHolder(File()), std::nullopt);
}

TEST_F(LockHolderTest, TellsNothingOfTheLockOfAnotherFile)
{
    const FileLock lock(File());
    std::filesystem::path other = File();
    other += "-other";
    static_cast<void>(FileLock::Try(other)); // and over
    EXPECT_EQ(LockHolder(other), std::nullopt);
}

} // namespace
} // namespace softcard
