// Others in the middle of something, as only Linux shows or stops them.
#include "softcard/system/files.h"
#include "softcard/system/linux/file_descriptor.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"

#include <cerrno>
#include <csignal>
#include <string>
#include <system_error>

#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

// Tells of each time at which any process opens the file, from its making on.
class Openings
{
public:
    explicit Openings(const fs::path& file)
    {
        if (inotify_add_watch(events.Get(), file.c_str(), IN_OPEN) < 0) {
            throw std::system_error(errno, std::generic_category(), file.string());
        }
    }

    // False when nothing has opened the file for so long that nothing will.
    bool AwaitOne()
    {
        constexpr int longestWait = 120'000; // milliseconds
        pollfd waiting{events.Get(), POLLIN, 0};
        return poll(&waiting, 1, longestWait) == 1;
    }

private:
    softcard::FileDescriptor events{inotify_init1(IN_CLOEXEC)};
};

class LinuxRaces : public CardTest
{
protected:
    [[nodiscard]] bool CardIsThere(const std::string& name) const
    {
        return fs::exists(State() / "cards" / name);
    }
};

// Whoever has the readers' lock is in the middle of inserting the card.
TEST_F(LinuxRaces, DeleteRefusesACardThatIsBeingInserted)
{
    Process deletion = 0;
    {
        fs::create_directories(State() / "readers/Reader 0");
        const softcard::FileLock insertion(State() / "readers/.lock");
        Openings ofTheLock(State() / "readers/.lock");
        deletion = StartProgram({CARD_TOOL, "delete", "ref1"});
        ASSERT_TRUE(ofTheLock.AwaitOne()) << "the tool never came to the lock";
        fs::create_symlink("../../cards/ref1", State() / "readers/Reader 0/card");
    }
    EXPECT_EQ(AwaitProgram(deletion), exitAlreadyInserted);
    EXPECT_NE(RunTool({"list"}).output.find("ref1\tReader 0\t"), std::string::npos);
}

TEST_F(LinuxRaces, LeaveNoCardWhosePukWasNotPrinted)
{
    const Finished lost = RunProgram({"sh", "-c", CARD_TOOL " new unseen >/dev/full"});
    EXPECT_EQ(lost.exitCode, 1);
    EXPECT_EQ(lost.errors, "tavrik-card: The standard output cannot be written.\n");
    EXPECT_FALSE(CardIsThere("unseen"));
    for (const auto& entry : fs::directory_iterator(State() / "cards")) {
        EXPECT_FALSE(entry.path().filename().string().starts_with('.')) << entry.path();
    }
    EXPECT_EQ(RunProgram({"sh", "-c", CARD_TOOL " new told --puk 1 >/dev/full"}).exitCode, 0)
        << "what says nothing loses nothing";
    EXPECT_TRUE(CardIsThere("told"));
}

// A process that has stopped, with the lock in its hands.
class StoppedHolder
{
public:
    explicit StoppedHolder(const fs::path& lockFile)
    {
        process = fork();
        if (process == 0) {
            const softcard::FileLock lock(lockFile);
            (void)raise(SIGSTOP);
            _exit(0);
        }
        int status = 0;
        EXPECT_EQ(waitpid(process, &status, WUNTRACED), process);
        EXPECT_TRUE(WIFSTOPPED(status));
    }

    ~StoppedHolder()
    {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }

    StoppedHolder(const StoppedHolder&) = delete;
    StoppedHolder& operator=(const StoppedHolder&) = delete;
    StoppedHolder(StoppedHolder&&) = delete;
    StoppedHolder& operator=(StoppedHolder&&) = delete;

private:
    pid_t process = 0;
};

TEST_F(LinuxRaces, StoppedProcessDoesNotBlockOthersForever)
{
    const CardSession session = InsertAndOpen("ref2");
    const fs::path lockFile = State() / "cards/ref2/lock";
    const StoppedHolder holder(lockFile);
    const Process trying = StartProgram({TRY_CODE, "bok", bok});
    const Finished refused =
        RunProgram({"timeout", "100", CARD_TOOL, "set-code", "ref2", "bok", "--old", bok, "--new", "1"});
    EXPECT_EQ(refused.exitCode, exitCardBusy);
    EXPECT_EQ(refused.errors, "tavrik-card: Another program keeps the card locked, with \"" +
                                  lockFile.string() + "\": let it go on, or end it, and try again.\n");
    EXPECT_EQ(AwaitProgram(trying), eStatusSHARING_VIOLATION);
    EXPECT_EQ(FlagsOf(session), cardPresentFlag) << "what is public can be read";
}

TEST(LinuxLocks, OfARemovedFileDoNotBlock)
{
    const TemporaryHome home;
    const fs::path file = home.Folder() / "lock";
    const softcard::FileLock before(file);
    fs::remove(file);
    const softcard::FileLock after(file);
    EXPECT_FALSE(softcard::FileLock::Try(file)) << "the new file is the one that counts";
}

} // namespace
