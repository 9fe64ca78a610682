// A log's files among the programs of Windows, which keep each other from moving and deleting what they have open.
#include "softcard/system/windows/handle.h"
#include "tests/tools/polled_log.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace {

class WindowsLogSourceTest : public LogSourceTest
{
protected:
    WindowsLogSourceTest()
    {
        std::filesystem::create_directory(log.Folder() / "sub");
        log.Append("sub/Pkcs11.log", "one\r\n");
        EXPECT_EQ(Poll(), "one ");
    }

    std::filesystem::path Current() const { return log.Folder() / "sub" / "Pkcs11.log"; }
};

} // namespace

// The sink gets a line while the file is open.
TEST_F(WindowsLogSourceTest, FileThatIsReadIsWrittenToMovedAndDeletedByOthers)
{
    const std::filesystem::path moved = log.Folder() / "sub" / "Pkcs11_1.log";
    log.Append("sub/Pkcs11.log", "two\r\n");
    std::string lines;
    source.Poll([&](int, std::string_view line) {
        lines.append(line).append(" ");
        if (line == "two") {
            log.Append("sub/Pkcs11.log", "three\r\n");
            EXPECT_NE(MoveFileW(Current().c_str(), moved.c_str()), FALSE) << GetLastError();
            EXPECT_NE(DeleteFileW(moved.c_str()), FALSE) << GetLastError();
        }
    });
    EXPECT_EQ(lines, "two three ");
}

TEST_F(WindowsLogSourceTest, FileThatWasMovedIsReadOn)
{
    const std::filesystem::path moved = log.Folder() / "sub" / "Pkcs11_1.log";
    EXPECT_NE(MoveFileW(Current().c_str(), moved.c_str()), FALSE);
    log.Append("sub/Pkcs11_1.log", "two\r\n");
    EXPECT_EQ(Poll(), "two ");
}

// The library could not begin a new log under it otherwise.
TEST_F(WindowsLogSourceTest, NameOfADeletedFileIsFree)
{
    EXPECT_NE(DeleteFileW(Current().c_str()), FALSE);
    EXPECT_FALSE(std::filesystem::exists(Current()));
    log.Append("sub/Pkcs11.log", "two\r\nthree\r\n");
    EXPECT_EQ(Poll(), "two three ");
}

TEST_F(WindowsLogSourceTest, FileThatNobodyMayReadIsAFailureWithItsName)
{
    const softcard::Handle other = softcard::Own(CreateFileW(
        (log.Folder() / "sub" / "Pkcs11_1.log").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    ASSERT_TRUE(other);
    try {
        Poll();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("Pkcs11_1.log: "), std::string::npos) << error.what();
    }
}

TEST_F(WindowsLogSourceTest, FolderWithTheNameOfALogIsLeftOut)
{
    const std::filesystem::path folder = log.Folder() / "sub" / "Pkcs11_7.log";
    std::filesystem::create_directory(folder);
    EXPECT_EQ(Poll(), "");
    EXPECT_EQ(source.LeftOut(), std::set<std::filesystem::path>{folder});
}
