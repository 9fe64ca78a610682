// What can lie in a log's folder on Linux.
#include "tests/tools/polled_log.h"

#include <filesystem>
#include <set>
#include <stdexcept>

#include <sys/stat.h>

namespace {

class LinuxLogSourceTest : public LogSourceTest
{
};

} // namespace

TEST_F(LinuxLogSourceTest, OnlyRegularFilesAreRead)
{
    const auto folder = log.Folder() / "sub";
    std::filesystem::create_directories(folder / "Pkcs11_4.log");
    ASSERT_EQ(mkfifo((folder / "Pkcs11_3.log").c_str(), 0600), 0);
    std::filesystem::create_symlink("/dev/zero", folder / "Pkcs11_2.log");
    std::filesystem::create_symlink("Pkcs11_1.log", folder / "Pkcs11_1.log");
    log.Append("sub/Pkcs11_5.log", "oldest\r\n");
    log.Append("other", "linked\r\n");
    std::filesystem::create_symlink("../other", folder / "Pkcs11.log");
    EXPECT_EQ(Poll(), "oldest linked ");
    EXPECT_EQ(Poll(), "");
    EXPECT_EQ(source.LeftOut(),
              (std::set<std::filesystem::path>{folder / "Pkcs11_4.log", folder / "Pkcs11_3.log",
                                               folder / "Pkcs11_2.log", folder / "Pkcs11_1.log"}));
}

TEST_F(LinuxLogSourceTest, PathThatIsNeitherFolderNorRegularFileIsRefused)
{
    ASSERT_EQ(mkfifo((log.Folder() / "sub").c_str(), 0600), 0);
    EXPECT_THROW(Poll(), std::runtime_error);
}

TEST_F(LinuxLogSourceTest, EndOfADeletedFileIsRead)
{
    std::filesystem::create_directory(log.Folder() / "sub");
    log.Append("sub/Pkcs11.log", "one\r\n");
    EXPECT_EQ(Poll(), "one ");
    log.Append("sub/Pkcs11.log", "two\r\n");
    log.Remove("sub/Pkcs11.log");
    log.Append("sub/Pkcs11.log", "three\r\n");
    EXPECT_EQ(Poll(), "two three ");
}
