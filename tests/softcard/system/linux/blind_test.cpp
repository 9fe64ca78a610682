// Readers on a system that gives no notification of changes.
#include "tests/softcard/card_home.h"
#include "tests/softcard/reader_events.h"

#include <atomic>
#include <cerrno>

#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace softcard::test;

namespace {

std::atomic<bool> systemIsBlind = false;

class BlindReaders : public CardTest
{
protected:
    BlindReaders()
    {
        TakeEvents();
        systemIsBlind = true;
    }
    ~BlindReaders() override { systemIsBlind = false; }
};

} // namespace

// The library calls this one in place of the system's.
extern "C" int inotify_init1(int flags) noexcept
{
    if (systemIsBlind) {
        errno = ENOSYS;
        return -1;
    }
    return static_cast<int>(syscall(SYS_inotify_init1, flags));
}

namespace {

TEST_F(BlindReaders, AreLookedAtOftenEnough)
{
    ExpectEvents(
        5, [this] { Insert("ref2"); }, [this] { Remove("ref2"); });
}

// Or the test above would show nothing.
TEST_F(BlindReaders, AreNotFollowed)
{
    EXPECT_EQ(inotify_init1(0), -1);
    const auto start = Clock::now();
    EXPECT_EQ(Library().waitForReaderEvent(200, Listen), 0);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(200)) << "nor is there a busy loop's early end";
}

} // namespace
