#include "tests/tools/polled_log.h"
#include "tools/tavrik-log/log_line.h"

#include <filesystem>

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
