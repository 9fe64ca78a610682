// What may lie in the place of a log file, and what the library makes of its own.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

namespace blackbox {
namespace {

class LogFileKindsTest : public BlackBoxTest
{
protected:
    std::filesystem::path LogFile() const { return Directory() / "Pkcs11.log"; }

    void StartAndEnd()
    {
        Initialize();
        Finalize();
    }
};

// The numbers of this process's descriptors of the file.
std::vector<int> DescriptorsOf(const std::filesystem::path& file)
{
    std::vector<int> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        if (std::filesystem::read_symlink(entry, error) == file) {
            found.push_back(std::stoi(entry.path().filename().string()));
        }
    }
    return found;
}

TEST_F(LogFileKindsTest, PipeIsLeftAloneAndNotWaitedFor)
{
    for (const char* name : {"Pkcs11.log", "config.json"}) {
        ASSERT_EQ(mkfifo((Directory() / name).c_str(), 0600), 0);
    }
    alarm(60); // a host that waits for the pipe never comes back
    StartAndEnd();
    alarm(0);
    EXPECT_TRUE(std::filesystem::is_fifo(LogFile()));
}

TEST_F(LogFileKindsTest, PipeWithAReaderGetsNothing)
{
    ASSERT_EQ(mkfifo(LogFile().c_str(), 0600), 0);
    const int reader = open(LogFile().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    alarm(60);
    StartAndEnd();
    alarm(0);
    char byte = 0;
    EXPECT_EQ(read(reader, &byte, 1), 0) << "no writer, and no byte";
    close(reader);
}

TEST_F(LogFileKindsTest, LinkIsNotFollowed)
{
    const auto target = Directory() / "target";
    WriteFile(target, "untouched");
    std::filesystem::create_symlink(target, LogFile());
    StartAndEnd();
    EXPECT_EQ(ReadFile(target), "untouched");
    EXPECT_TRUE(std::filesystem::is_symlink(LogFile()));
}

TEST_F(LogFileKindsTest, LinkToWhereNothingIsMakesNoFile)
{
    std::filesystem::create_symlink(Directory() / "target", LogFile());
    StartAndEnd();
    EXPECT_FALSE(std::filesystem::exists(Directory() / "target"));
}

TEST_F(LogFileKindsTest, LinkToALargeFileIsNotRetired)
{
    const auto target = Directory() / "target";
    WriteFile(target, "");
    std::filesystem::resize_file(target, 5000000);
    std::filesystem::create_symlink(target, LogFile());
    StartAndEnd();
    EXPECT_TRUE(std::filesystem::is_symlink(LogFile()));
    EXPECT_FALSE(std::filesystem::exists(Directory() / "Pkcs11_1.log"));
}

TEST_F(LogFileKindsTest, LinkAmongTheFoldersIsFollowed)
{
    std::filesystem::create_directory(Directory() / "logs");
    std::filesystem::create_directory_symlink(Directory() / "logs", Directory() / "link");
    script->SetDirectories(Directory().u16string() + u"/", (Directory() / "link").u16string() + u"/");
    StartAndEnd();
    EXPECT_NE(ReadFile(Directory() / "logs" / "Pkcs11.log"), "");
}

TEST_F(LogFileKindsTest, NewFileIsItsOwnersAloneWhateverTheMaskOfTheHost)
{
    const mode_t before = umask(0);
    StartAndEnd();
    umask(before);
    EXPECT_EQ(std::filesystem::status(LogFile()).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(LogFileKindsTest, NoProgramOfTheHostInheritsTheFile)
{
    Initialize();
    const auto descriptors = DescriptorsOf(std::filesystem::canonical(LogFile()));
    ASSERT_EQ(descriptors.size(), 1U);
    EXPECT_NE(fcntl(descriptors.front(), F_GETFD) & FD_CLOEXEC, 0); // NOLINT(hicpp-signed-bitwise)
}

TEST_F(LogFileKindsTest, HostWithoutStandardStreamsDoesNotGetTheFileInTheirPlace)
{
    const int saved = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 100);
    close(STDIN_FILENO);
    Initialize();
    const auto descriptors = DescriptorsOf(std::filesystem::canonical(LogFile()));
    dup2(saved, STDIN_FILENO);
    close(saved);
    ASSERT_EQ(descriptors.size(), 1U);
    EXPECT_GT(descriptors.front(), STDERR_FILENO);
}

TEST_F(LogFileKindsTest, PathOfTheHostForgesNoLineOfTheHeader)
{
    const auto host =
        CopyOfLogHost(Directory(), "host\r\nDateTime: 2001-02-03 04:05:06\x1b\x7f\xc2\x85 \xc3\x85");
    OutputOf(LogHostCommand(Directory(), 0, "", host));
    const std::string log = ReadFile(LogFile());
    EXPECT_NE(log.find("Process name: " + Directory().string() +
                       "/host??DateTime: 2001-02-03 04:05:06??? \xc3\x85\r\n"),
              std::string::npos)
        << log;
    EXPECT_EQ(CountOf(log, "\nDateTime: "), 1U);
}

} // namespace
} // namespace blackbox
