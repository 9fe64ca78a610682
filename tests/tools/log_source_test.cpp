#include "tests/tools/test_log.h"
#include "tools/tavrik-log/log_line.h"
#include "tools/tavrik-log/log_source.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

class LogSourceTest : public testing::Test
{
protected:
    std::string Poll()
    {
        std::string lines;
        source.Poll([&lines](int, std::string_view line) { lines.append(line).append(" "); });
        return lines;
    }

    TestLog log;
    logtool::LogSource source{log.Folder() / "sub", "Pkcs11"};
};

} // namespace

TEST_F(LogSourceTest, FolderThatAppearsLaterIsRead)
{
    EXPECT_EQ(Poll(), "");
    EXPECT_FALSE(source.FoundFiles());
    std::filesystem::create_directory(log.Folder() / "sub");
    EXPECT_EQ(Poll(), "");
    log.Append("sub/Pkcs11.log", "one\r\n");
    EXPECT_EQ(Poll(), "one ");
}

TEST_F(LogSourceTest, RotationNeitherLosesNorRepeatsLines)
{
    std::filesystem::create_directory(log.Folder() / "sub");
    log.Append("sub/Pkcs11.log", "one\r\n");
    EXPECT_EQ(Poll(), "one ");
    log.Append("sub/Pkcs11.log", "two\r\n");
    log.Rename("sub/Pkcs11.log", "sub/Pkcs11_1.log");
    log.Append("sub/Pkcs11.log", "three\r\n");
    log.Append("sub/Pkcs11_1.log", "late\r\n"); // of another process that still has it open
    EXPECT_EQ(Poll(), "two late three ");
    EXPECT_EQ(Poll(), "");
}

TEST_F(LogSourceTest, TwoRotationsBetweenPollsAreReadInOrder)
{
    std::filesystem::create_directory(log.Folder() / "sub");
    log.Append("sub/Pkcs11.log", "one\r\n");
    EXPECT_EQ(Poll(), "one ");
    log.Rename("sub/Pkcs11.log", "sub/Pkcs11_2.log");
    log.Append("sub/Pkcs11_1.log", "two\r\n");
    log.Append("sub/Pkcs11.log", "three\r\n");
    EXPECT_EQ(Poll(), "two three ");
}

TEST_F(LogSourceTest, EndOfADeletedFileIsRead)
{
    std::filesystem::create_directory(log.Folder() / "sub");
    log.Append("sub/Pkcs11.log", "one\r\n");
    EXPECT_EQ(Poll(), "one ");
    log.Append("sub/Pkcs11.log", "two\r\n");
    log.Remove("sub/Pkcs11.log");
    log.Append("sub/Pkcs11.log", "three\r\n");
    EXPECT_EQ(Poll(), "two three ");
}

TEST_F(LogSourceTest, LineComesOnlyWhole)
{
    std::filesystem::create_directory(log.Folder() / "sub");
    log.Append("sub/Pkcs11.log", "o");
    EXPECT_EQ(Poll(), "");
    log.Append("sub/Pkcs11.log", "ne\r\ntw");
    EXPECT_EQ(Poll(), "one ");
    std::string rest;
    source.Finish([&rest](int, std::string_view line) { rest = line; });
    EXPECT_EQ(rest, "tw");
}

TEST_F(LogSourceTest, EmptiedFileIsReadFromItsBegin)
{
    std::filesystem::create_directory(log.Folder() / "sub");
    log.Append("sub/Pkcs11.log", "one\r\ntwo\r\n");
    EXPECT_EQ(Poll(), "one two ");
    std::filesystem::resize_file(log.Folder() / "sub/Pkcs11.log", 0);
    log.Append("sub/Pkcs11.log", "new\r\n");
    EXPECT_EQ(Poll(), "new ");
}

TEST_F(LogSourceTest, OnlyRegularFilesAreRead)
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

TEST_F(LogSourceTest, PathThatIsNeitherFolderNorRegularFileIsRefused)
{
    ASSERT_EQ(mkfifo((log.Folder() / "sub").c_str(), 0600), 0);
    EXPECT_THROW(Poll(), std::runtime_error);
}

TEST_F(LogSourceTest, OfALongLineTheBeginIsGiven)
{
    std::filesystem::create_directory(log.Folder() / "sub");
    const std::string longest(logtool::longestReadLine, 'x');
    log.Append("sub/Pkcs11.log",
               longest + "\r\n" + longest + std::string(100000, 'y') + "\r\nnext\r\n" + longest);
    EXPECT_EQ(Poll(), longest + " " + longest + " next ");
    log.Append("sub/Pkcs11.log", "z\nlast\n");
    EXPECT_EQ(Poll(), longest + " last ");
}
