// The sinks of the log for real: a system log, a console that takes nothing and a file system that fills up.
#include "tests/support/black_box_test.h"
#include "tests/support/linux/child_process.h"
#include "tests/support/linux/private_mounts.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <fstream>
#include <iostream>
#include <thread>

namespace blackbox {
namespace {

class SystemSinksTest : public BlackBoxTest
{
protected:
    void Configure(const std::string& sinks) const { ConfigureSinks(Directory(), sinks); }
};

// For tests whose child processes mount what the sinks write to.
class MountedSinksTest : public SystemSinksTest
{
protected:
    void SetUp() override
    {
        if (const std::string reason = WhyNoPrivateMounts(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
    }

    // Made for the log alone; the configuration stays where it is.
    std::filesystem::path FolderForLogs() const
    {
        auto folder = Directory() / "small";
        std::filesystem::create_directory(folder);
        script->SetDirectories(Directory().u16string() + u"/", folder.u16string() + u"/");
        return folder;
    }
};

// For the bodies of child processes, whose failures show in their exit statuses.
void Require(bool holds, const std::string& what)
{
    if (!holds) {
        std::cerr << "not so: " << what << '\n';
        _exit(1);
    }
}

// A system log of the test's own at the place where programs look for it.
class SystemLog
{
public:
    SystemLog() : listener(socket(AF_UNIX, SOCK_DGRAM, 0))
    {
        sockaddr_un address{AF_UNIX, "/dev/log"};
        Require(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
                "/dev/log is bound");
        receiver = std::thread([this] { Receive(); });
    }
    ~SystemLog() { Stop(); }
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    // Ends the receiving and gives what came.
    Texts Messages()
    {
        Stop();
        return messages;
    }

private:
    void Receive()
    {
        std::array<char, 8192> block{};
        for (ssize_t length = 0; (length = recv(listener, block.data(), block.size(), 0)) > 0;) {
            messages.emplace_back(block.data(), static_cast<size_t>(length));
        }
    }
    void Stop()
    {
        if (receiver.joinable()) {
            shutdown(listener, SHUT_RDWR);
            receiver.join();
            close(listener);
        }
    }

    int listener;
    Texts messages;
    std::thread receiver;
};

TEST_F(SystemSinksTest, FullConsoleDoesNotFailTheLibrary)
{
    Configure(R"("logToConsole": true)");
    OutputOf(LogHostCommand(Directory(), 3) + " >/dev/full");
    EXPECT_EQ(CountOf(ReadFile(Directory() / "Pkcs11.log"), "PKCS11_FUNCTION_ENTERING\r\n"), 4U);
}

TEST_F(MountedSinksTest, DebuggerSinkReachesTheSystemLog)
{
    Configure(R"("logToDebugger": true, "logToFile": false, "timeFormat": "LogTimeFormat_Millisec")");
    std::filesystem::create_directory(Directory() / "dev");
    const int exit = ExitOfChild([this] {
        EnterPrivateMounts();
        ReplaceDevices(Directory() / "dev");
        SystemLog systemLog;
        Require(f->C_Initialize(nullptr) == CKR_OK, "the library starts");
        Require(f->C_GetInfo(nullptr) == CKR_ARGUMENTS_BAD, "the answer of C_GetInfo");
        Require(f->C_Finalize(nullptr) == CKR_OK, "the library ends");
        const Texts messages = systemLog.Messages();
        Require(messages.size() > 10, "one message for each piece and each line");
        Require(messages.front().starts_with("<15>"), "of a user, for debugging: " + messages.front());
        Require(messages.front().ends_with(": CardAPI, version: v4.8_RC2"), messages.front());
        const std::string line = ";      pkcs11_x64; PKCS11_FUNCTION_LEAVING, result 7 CKR_ARGUMENTS_BAD";
        size_t found = 0;
        for (const std::string& message : messages) {
            found += message.find(":  ERR; ") != std::string::npos && message.ends_with(line) ? 1U : 0U;
        }
        Require(found == 1, "the one error, without its line end");
    });
    EXPECT_EQ(exit, 0);
}

TEST_F(MountedSinksTest, FullFileSystemLosesOnlyLinesOfTheFile)
{
    const auto folder = FolderForLogs();
    Configure(R"("extensive": true)");
    const int exit = ExitOfChild(
        [&] {
            EnterPrivateMounts();
            MountMemory(folder, 2228224); // room for the largest file and 128 KiB
            const auto log = folder / "Pkcs11.log";
            const auto filler = folder / "filler";
            WriteFile(filler, std::string(2162688, 'x')); // and so for 64 KiB now
            Require(f->C_Initialize(nullptr) == CKR_OK, "the library starts");
            CK_INFO info{};
            for (int call = 0; call < 1000; ++call) {
                Require(f->C_GetInfo(&info) == CKR_OK, "calls go on");
            }
            const auto full = std::filesystem::file_size(log);
            Require(full == 65536, "the file took what there was room for: " + std::to_string(full));

            std::filesystem::remove(filler);
            Require(f->C_GetInfo(&info) == CKR_OK, "calls go on");
            Require(std::filesystem::file_size(log) == full, "the stream stays failed");

            std::ofstream(log, std::ios::app) << std::string(2097152 - 65536 + 1, 'y');
            Require(f->C_GetInfo(nullptr) == CKR_ARGUMENTS_BAD, "the answer of C_GetInfo");
            Require(std::filesystem::exists(folder / "Pkcs11_1.log"), "a line that is lost makes the check");
            Require(ReadFile(log).starts_with("CardAPI, version: "), "the new file has its header");
            Require(ReadFile(log).find("CKR_ARGUMENTS_BAD") != std::string::npos, "and takes lines again");
            Require(f->C_Finalize(nullptr) == CKR_OK, "the library ends");
        },
        std::chrono::seconds(60));
    EXPECT_EQ(exit, 0);
}

TEST_F(MountedSinksTest, FullFileSystemLeavesTheConsoleItsLines)
{
    const auto folder = FolderForLogs();
    Configure(R"("logToConsole": true)");
    const auto output = Directory() / "output";
    const int exit = ExitOfChild([&] {
        EnterPrivateMounts();
        MountMemory(folder, 4096);
        Require(std::freopen(output.c_str(), "w", stdout) != nullptr, "the output goes to a file");
        Require(f->C_Initialize(nullptr) == CKR_OK, "the library starts");
        CK_INFO info{};
        for (int call = 0; call < 100; ++call) {
            Require(f->C_GetInfo(&info) == CKR_OK, "calls go on");
        }
        Require(f->C_Finalize(nullptr) == CKR_OK, "the library ends");
        Require(std::filesystem::file_size(folder / "Pkcs11.log") == 4096, "the file is full");
    });
    EXPECT_EQ(exit, 0);
    EXPECT_EQ(CountOf(ReadFile(output), "PKCS11_FUNCTION_ENTERING\r\n"), 101U);
}

} // namespace
} // namespace blackbox
