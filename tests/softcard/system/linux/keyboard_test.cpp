// The keyboard among Linux's programs, processes and signals.
#include "softcard/system/files.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_holder.h"
#include "tests/softcard/keyboard_home.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace softcard::test;

namespace {

std::atomic<int> interruptions = 0; // to come, of waits for the end of a program

} // namespace

// The library calls this one in place of the system's.
extern "C" pid_t waitpid(pid_t pid, int* loc, int options)
{
    if ((options & WNOHANG) == 0 && interruptions > 0) {
        --interruptions;
        errno = EINTR;
        return -1;
    }
    return static_cast<pid_t>(syscall(SYS_wait4, pid, loc, options, nullptr));
}

namespace {

class LinuxKeyboard : public KeyboardTest
{
};

TEST_F(LinuxKeyboard, ThatSpeaksNoAssuanCountsAsCancelled)
{
    const CardSession session = InsertAndOpen("ref2");
    for (const char* program : {"true", "false"}) {
        setenv("TAVRIK_PINENTRY", program, 1);
        EXPECT_EQ(VerifyBok(session, nullptr).returned, eUserInputError);
    }
    EXPECT_EQ(VerifyBok(session, bok).returned, 0);
}

// Each keeps talking, or its peace, until it is ended.
TEST_F(LinuxKeyboard, ProgramThatGoesOnForeverIsEnded)
{
    const std::map<std::string, std::string> programs = {
        {"says nothing", "exec sleep 1000\n"},
        {"stops with a child that has its output",
         "(while [ -e " + Scratch("endless").string() + " ]; do sleep 1; done) 2>/dev/null &\nwait\n"},
        {"never answers",
         "echo OK\nwhile read line; do case $line in GETPIN) exec sleep 1000;; esac; echo OK; done\n"},
        {"does not end", "trap '' TERM PIPE\necho OK\nwhile read line; do echo OK; done\nexec sleep 1000\n"},
        {"comments for ever", "echo OK\nwhile :; do echo '# and then'; done\n"},
        {"reports for ever", "echo OK\nread line\nwhile :; do echo 'S PROGRESS'; done\n"},
        {"has an endless code",
         "echo OK\nwhile read line; do case $line in GETPIN) while :; do echo D 1; done;; esac; "
         "echo OK; done\n"},
        {"has an endless line", "exec tr '\\0' x </dev/zero\n"}};
    const CardSession session = InsertAndOpen("ref2");
    setenv("TAVRIK_PINENTRY_TIMEOUT", "2", 1);
    setenv("TAVRIK_PINENTRY", Scratch("endless").c_str(), 1);
    for (const auto& [what, text] : programs) {
        WriteText(Scratch("endless"), "#!/bin/sh\necho $$ >'" + Scratch("number").string() + "'\n" + text);
        std::filesystem::permissions(Scratch("endless"), std::filesystem::perms(0755));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(VerifyBok(session, nullptr).returned, eUserInputError) << what;
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60)) << what;
        const pid_t process = std::stoi(softcard::ReadFile(Scratch("number")));
        EXPECT_EQ(kill(process, 0), -1) << what << ": it runs on";
    }
    unsetenv("TAVRIK_PINENTRY_TIMEOUT");
    EXPECT_EQ(VerifyBok(session, wrongCode).result.unread4, 2) << "and no try was spent";
}

// A line of the protocol has 1000 bytes.
TEST_F(LinuxKeyboard, ThatSaysALongerLineThanTheProtocolHasCountsAsCancelled)
{
    const CardSession session = InsertAndOpen("ref2");
    setenv("TAVRIK_PINENTRY", Scratch("talkative").c_str(), 1);
    for (const auto& [length, status] : {std::pair(1000, eStatusOk), std::pair(1001, eUserInputError)}) {
        WriteText(Scratch("talkative"),
                  "#!/bin/sh\necho 'OK " + std::string(static_cast<size_t>(length) - 3, 'x') +
                      "'\nwhile read line; do case $line in GETPIN) echo 'D 123456';; esac; echo OK; done\n");
        std::filesystem::permissions(Scratch("talkative"), std::filesystem::perms(0755));
        EXPECT_EQ(VerifyBok(session, nullptr).returned, status) << length;
    }
}

TEST_F(LinuxKeyboard, IsFoundOnThePath)
{
    const CardSession session = InsertAndOpen("ref2");
    const std::string path = FromEnvironment("PATH");
    std::filesystem::create_symlink(SCRIPTED_PINENTRY, Scratch("pinentry"));
    unsetenv("TAVRIK_PINENTRY");
    setenv("PATH", ("/nowhere:" + Home().string()).c_str(), 1);
    Answer("123456\n");
    const Verified verified = VerifyBok(session, nullptr);
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(verified.returned, 0);
}

TEST_F(LinuxKeyboard, SaysWhichProgramUsesTheCard)
{
    const CardSession session = InsertAndOpen("ref2");
    Answer("654321\n");
    {
        const CardHolder holder(Scratch("holding"));
        EXPECT_EQ(VerifyPin(session, nullptr).returned, eStatusSHARING_VIOLATION);
        EXPECT_EQ(Log(), "SETDESC Another program, softcard_try_code (process " +
                             std::to_string(holder.Number()) +
                             "), is using the card \"ref2\" in the reader \"Reader 0\".\n"
                             "End its use of the card, and try again.\n"
                             "MESSAGE \n");
        std::filesystem::remove(Scratch("log"));
        EXPECT_EQ(VerifyPin(session, pin).returned, eStatusSHARING_VIOLATION);
        EXPECT_FALSE(std::filesystem::exists(Scratch("log"))) << "a program that gives a code asks nobody";
        setenv("TAVRIK_PINENTRY", "no such program", 1);
        EXPECT_EQ(VerifyPin(session, nullptr).returned, eStatusSHARING_VIOLATION);
        setenv("TAVRIK_PINENTRY", SCRIPTED_PINENTRY, 1);
    }
    EXPECT_EQ(VerifyPin(session, nullptr).returned, 0) << "and the message took no answer";
}

TEST_F(LinuxKeyboard, SaysSoToAUserWhoseCardWasTakenDuringTheDialog)
{
    const CardSession session = InsertAndOpen("ref2");
    std::unique_ptr<CardHolder> holder;
    const auto verified = AskForPinDuring(session, pin, [&] {
        setenv("TAVRIK_PINENTRY", SCRIPTED_PINENTRY, 1); // of the next question
        holder = std::make_unique<CardHolder>(Scratch("holding"));
    });
    EXPECT_EQ(verified.returned, eStatusSHARING_VIOLATION);
    EXPECT_NE(Log().find("MESSAGE"), std::string::npos);
}

TEST_F(LinuxKeyboard, LeavesNoZombieWhenSignalsInterruptTheWaitForItsEnd)
{
    const CardSession session = InsertAndOpen("ref2");
    WriteText(Scratch("endless"),
              "#!/bin/sh\ntrap '' PIPE\necho OK\nwhile read line; do echo OK; done\nexec sleep 1000\n");
    std::filesystem::permissions(Scratch("endless"), std::filesystem::perms(0755));
    setenv("TAVRIK_PINENTRY", Scratch("endless").c_str(), 1);
    interruptions = 2;
    VerifyBok(session, nullptr);
    EXPECT_EQ(interruptions.exchange(0), 0) << "the program was waited for";
    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(LinuxKeyboard, LeavesNoZombieAndNoSignalHandling)
{
    const CardSession session = InsertAndOpen("ref2");
    Answer("123456\nCANCEL\n");
    VerifyBok(session, nullptr);
    VerifyBok(session, nullptr);
    setenv("TAVRIK_PINENTRY", "true", 1);
    VerifyBok(session, nullptr);
    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
    struct sigaction action
    {
    };
    sigaction(SIGPIPE, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGPIPE), 0);
}

} // namespace
