// What takes programs of Linux to be seen, or so many starts of the tool that they must be cheap.
#include "softcard/system/linux/file_descriptor.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/key_use.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

using namespace softcard::test;

namespace {

class ToolWithOthers : public CardTest
{
};

TEST_F(ToolWithOthers, MakesSeveralCertificatesOfAFamily)
{
    ASSERT_EQ(RunTool({"new", "many", "--qes-certificates", "2", "--es-certificates", "3", "--es-bits",
                       "2304", "--qes-reference", "4", "--puk", "1"})
                  .exitCode,
              0);
    const CardSession session = InsertAndOpen("many");
    const auto qualified = GetRecords(Library().qesGetCertificates, session);
    EXPECT_EQ(qualified->count, 2U);
    EXPECT_EQ(qualified->keys[1].keyReference, 4U);
    EXPECT_EQ(qualified->keys[1].modulusBits, 2048U);
    const auto ordinary = GetRecords(Library().esGetCertificates, session);
    EXPECT_EQ(ordinary->count, 3U);
    EXPECT_EQ(ordinary->keys[2].modulusBits, 2304U);

    // The certificate's index selects the key that decrypts.
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    WriteText(Scratch("plain"), "for the third");
    const Finished encrypted = RunProgram({"openssl", "pkeyutl", "-encrypt", "-certin", "-keyform", "DER",
                                           "-inkey", (State() / "cards/many/es-3.der").string(), "-in",
                                           Scratch("plain").string(), "-out", Scratch("encrypted").string()});
    ASSERT_EQ(encrypted.exitCode, 0) << encrypted.errors;
    const auto data = ReadBytes(Scratch("encrypted"));
    for (uint32_t index = 0; index < 4; ++index) {
        const Output plain = Decrypt(session, data, index);
        const bool isPlain =
            plain.status == 0 && std::string(plain.bytes.begin(), plain.bytes.end()) == "for the third";
        EXPECT_EQ(isPlain, index == 2) << index;
    }
}

// As `script` records it, which gives the program a terminal.
TEST_F(ToolWithOthers, ShowsProgressOnATerminalOnly)
{
    const std::string command = std::string(CARD_TOOL) + " new NAME --bits 4096 --puk 1";
    const auto make = [&](const std::string& name) {
        std::string words = command;
        words.replace(words.find("NAME"), 4, name);
        return words;
    };
    const Finished atTerminal = RunProgram({"script", "-qec", make("terminal"), "/dev/null"});
    EXPECT_EQ(atTerminal.exitCode, 0);
    EXPECT_NE(atTerminal.output.find("Generating qualified key 1 of 1 (4096 bits)"), std::string::npos);
    const Finished inPipe = RunProgram({"sh", "-c", make("pipe")});
    EXPECT_EQ(inPipe.exitCode, 0);
    EXPECT_EQ(inPipe.output + inPipe.errors, "");
}

// The PUK is printed only once, so that nobody may take a lost line for success.
TEST_F(ToolWithOthers, SaysWhenItsOutputIsLost)
{
    for (const std::string command :
         {"list", "show ref2", "export-certificate ref2 es", "new another", "--help"}) {
        const Finished lost =
            RunProgram({"sh", "-c", std::string(CARD_TOOL) + " " + command + " >/dev/full"});
        EXPECT_EQ(lost.exitCode, 1) << command;
        EXPECT_EQ(lost.errors, "tavrik-card: The standard output cannot be written.\n") << command;
    }
    EXPECT_EQ(RunTool({"insert", "ref2"}).exitCode, 0);
    EXPECT_EQ(RunProgram({"sh", "-c", std::string(CARD_TOOL) + " remove ref2 >/dev/full"}).exitCode, 0)
        << "what says nothing loses nothing";
}

TEST_F(ToolWithOthers, LeavesATerminalThatShowsWhatIsTypedWhenItIsInterrupted)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        int descriptor = -1;
        const pid_t tool = forkpty(&descriptor, nullptr, nullptr, nullptr);
        ASSERT_GE(tool, 0);
        if (tool == 0) {
            execl(CARD_TOOL, CARD_TOOL, "set-code", "ref2", "bok", nullptr);
            _exit(127);
        }
        const softcard::FileDescriptor terminal(descriptor);
        const auto showsTyping = [&terminal] {
            termios settings{};
            EXPECT_EQ(tcgetattr(terminal.Get(), &settings), 0);
            return (settings.c_lflag & ECHO) != 0;
        };
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (showsTyping() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        EXPECT_FALSE(showsTyping()) << "a code is asked for";
        kill(tool, signal);
        int status = 0;
        ASSERT_EQ(waitpid(tool, &status, 0), tool);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
        EXPECT_TRUE(showsTyping()) << "after signal " << signal;
    }
}

} // namespace
