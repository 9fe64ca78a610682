// The keyboard among Linux's programs, processes and signals.
#include "answers.h"
#include "keyboard_home.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <sys/wait.h>

using namespace softcard::test;

namespace {

class LinuxKeyboard : public KeyboardTest
{
};

TEST_F(LinuxKeyboard, ThatSpeaksNoAssuanCountsAsCancelled)
{
    const CardSession session = InsertAndOpen("ref2");
    for (const char* program : {"true", "false"}) {
        setenv("TAVRIK_PINENTRY", program, 1);
        EXPECT_EQ(VerifyBok(session, nullptr).returned, userInputError);
    }
    EXPECT_EQ(VerifyBok(session, bok).returned, 0);
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
