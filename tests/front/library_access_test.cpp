#include "front/model/library_access.h"

#include "tests/front/other_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>

namespace front {
namespace {

using Duration = LibraryAccess::Duration;
using front_test::OtherThread;

// Threads and results of these tests are not for Clang to follow.
class LibraryAccessTest : public ::testing::Test
{
protected:
    void Lock(Duration duration) NO_THREAD_SAFETY_ANALYSIS { access.Lock(duration); }
    void Unlock() NO_THREAD_SAFETY_ANALYSIS { access.Unlock(); }

    bool TryInAnotherThread()
    {
        bool got = false;
        OtherThread([&] { got = access.LockUnlessLong(); }).Join();
        return got;
    }

    // Another thread has to wait with this until the access of this thread ends, and succeeds then.
    void ExpectToWaitForUnlock(const std::function<bool()>& lock)
    {
        std::atomic<bool> got{false};
        OtherThread other([&] { got = lock(); });
        other.WaitUntilItSleeps();
        EXPECT_FALSE(other.IsDone());
        Unlock();
        other.Join();
        EXPECT_TRUE(got);
    }

    LibraryAccess access;
};

TEST_F(LibraryAccessTest, OneThreadAtATimeHasAccess)
{
    Lock(Duration::brief);
    ExpectToWaitForUnlock([this] {
        Lock(Duration::brief);
        return true;
    });
}

TEST_F(LibraryAccessTest, BriefAccessIsWaitedForAndALongOneIsNot)
{
    Lock(Duration::mayBeLong);
    EXPECT_FALSE(TryInAnotherThread());
    Unlock();
    Lock(Duration::brief);
    ExpectToWaitForUnlock([this] { return access.LockUnlessLong(); });
}

TEST_F(LibraryAccessTest, AccessAfterALongOneIsBriefAgain)
{
    Lock(Duration::mayBeLong);
    Unlock();
    ASSERT_TRUE(access.LockUnlessLong());
    ExpectToWaitForUnlock([this] { return access.LockUnlessLong(); });
}

TEST_F(LibraryAccessTest, LongAccessThatHadToWaitIsALongOneToo)
{
    Lock(Duration::brief);
    ExpectToWaitForUnlock([this] {
        Lock(Duration::mayBeLong);
        return true;
    });
    EXPECT_FALSE(access.LockUnlessLong());
}

TEST_F(LibraryAccessTest, LongAccessThatWouldNotHaveWaitedIsALongOneToo)
{
    ASSERT_TRUE(access.LockUnlessLong(Duration::mayBeLong));
    EXPECT_FALSE(TryInAnotherThread());
}

TEST_F(LibraryAccessTest, ForkDoesNotWaitForItsOwnThread)
{
    Lock(Duration::brief);
    EXPECT_FALSE(access.LockForFork());
    ExpectToWaitForUnlock([this] { return access.LockForFork(); });
}

} // namespace
} // namespace front
