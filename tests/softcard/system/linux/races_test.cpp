// What others do at the same moment, and those who stop in the middle of something.
#include "softcard/system/files.h"
#include "softcard/system/linux/file_descriptor.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/environment.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

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

class Races : public CardTest
{
protected:
    static std::string List() { return RunTool({"list"}).output; }
    [[nodiscard]] bool CardIsThere(const std::string& name) const
    {
        return fs::exists(State() / "cards" / name);
    }

    // Nothing is left in the store but cards.
    void ExpectNoLitter() const
    {
        for (const auto& entry : fs::directory_iterator(State() / "cards")) {
            EXPECT_FALSE(entry.path().filename().string().starts_with('.')) << entry.path();
        }
    }
};

// Starts all at once, and gives their exit codes.
std::vector<int> RunTogether(const std::vector<std::vector<std::string>>& commands)
{
    std::vector<Process> processes;
    for (std::vector<std::string> command : commands) {
        command.insert(command.begin(), CARD_TOOL);
        processes.push_back(StartProgram(command));
    }
    std::vector<int> exitCodes;
    std::transform(processes.begin(), processes.end(), std::back_inserter(exitCodes), AwaitProgram);
    return exitCodes;
}

TEST_F(Races, OneOfTwoDeletesSucceeds)
{
    for (int round = 0; round < 10; ++round) {
        fs::copy(State() / "cards/ref1", State() / "cards/twin", fs::copy_options::recursive);
        std::vector<int> exitCodes =
            RunTogether({{"delete", "twin"}, {"delete", "twin"}, {"delete", "twin"}});
        std::sort(exitCodes.begin(), exitCodes.end());
        EXPECT_EQ(exitCodes, (std::vector<int>{0, exitUnknownCard, exitUnknownCard}));
        EXPECT_FALSE(CardIsThere("twin"));
    }
    ExpectNoLitter();
}

TEST_F(Races, OneOfDeleteAndInsertSucceeds)
{
    for (int round = 0; round < 15; ++round) {
        fs::copy(State() / "cards/ref1", State() / "cards/torn", fs::copy_options::recursive);
        const std::vector<int> exitCodes = RunTogether({{"delete", "torn"}, {"insert", "torn"}});
        if (exitCodes[0] == 0) {
            EXPECT_EQ(exitCodes[1], exitUnknownCard);
            EXPECT_FALSE(CardIsThere("torn"));
            EXPECT_FALSE(fs::exists(fs::symlink_status(State() / "readers/Reader 0/card")));
        } else {
            EXPECT_EQ(exitCodes, (std::vector<int>{exitAlreadyInserted, 0}));
            EXPECT_NE(List().find("torn\tReader 0\t"), std::string::npos);
            ASSERT_EQ(RunTool({"delete", "torn", "--force"}).exitCode, 0);
        }
    }
    ExpectNoLitter();
}

// Whoever has the readers' lock is in the middle of inserting the card.
TEST_F(Races, DeleteRefusesACardThatIsBeingInserted)
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
    EXPECT_NE(List().find("ref1\tReader 0\t"), std::string::npos);
}

TEST_F(Races, OfDeleteAndNewReportWhatHappened)
{
    for (int round = 0; round < 5; ++round) {
        ASSERT_EQ(RunTool({"new", "anew", "--puk", "1"}).exitCode, 0);
        const std::vector<int> exitCodes = RunTogether({{"delete", "anew"}, {"new", "anew", "--puk", "2"}});
        EXPECT_EQ(exitCodes[0], 0);
        EXPECT_TRUE(exitCodes[1] == 0 || exitCodes[1] == exitNameTaken) << exitCodes[1];
        EXPECT_EQ(CardIsThere("anew"), exitCodes[1] == 0);
        if (CardIsThere("anew")) {
            EXPECT_EQ(RunTool({"unblock", "anew", "bok", "--puk", "2"}).exitCode, 0)
                << "and it is the new one";
            ASSERT_EQ(RunTool({"delete", "anew"}).exitCode, 0);
        }
    }
    ExpectNoLitter();
}

// What is being taken apart elsewhere does not stand in the way.
TEST_F(Races, DeleteIgnoresTheRemainsOfAnotherDelete)
{
    fs::create_directories(State() / "cards/.ref1.deleted");
    WriteText(State() / "cards/.ref1.deleted/es-1.key", "of the other");
    EXPECT_EQ(RunTool({"delete", "ref1"}).exitCode, 0);
    EXPECT_FALSE(CardIsThere("ref1"));
    EXPECT_EQ(softcard::ReadFile(State() / "cards/.ref1.deleted/es-1.key"), "of the other");
}

TEST_F(Races, DeleteWaitsForAVerification)
{
    const softcard::FileLock use = softcard::FileLock::TryShared(State() / "cards/ref1/transaction").value();
    EXPECT_EQ(RunTool({"delete", "ref1"}).exitCode, exitCardBusy);
    EXPECT_TRUE(CardIsThere("ref1"));
}

TEST_F(Races, LeaveNoCardWhosePukWasNotPrinted)
{
    const Finished lost = RunProgram({"sh", "-c", CARD_TOOL " new unseen >/dev/full"});
    EXPECT_EQ(lost.exitCode, 1);
    EXPECT_EQ(lost.errors, "tavrik-card: The standard output cannot be written.\n");
    EXPECT_FALSE(CardIsThere("unseen"));
    ExpectNoLitter();
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

TEST_F(Races, StoppedProcessDoesNotBlockOthersForever)
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

TEST(Locks, AreWaitedForAsLongAsIsAskedFor)
{
    const TemporaryHome home;
    const fs::path file = home.Folder() / "lock";
    const softcard::FileLock held(file);
    const auto start = std::chrono::steady_clock::now();
    try {
        const softcard::FileLock another(file, std::chrono::milliseconds(50));
        ADD_FAILURE() << "it is held";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), softcard::FileFault::lockHeld);
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
}

TEST(Locks, OfARemovedFileDoNotBlock)
{
    const TemporaryHome home;
    const fs::path file = home.Folder() / "lock";
    const softcard::FileLock before(file);
    fs::remove(file);
    const softcard::FileLock after(file);
    EXPECT_FALSE(softcard::FileLock::Try(file)) << "the new file is the one that counts";
}

} // namespace
