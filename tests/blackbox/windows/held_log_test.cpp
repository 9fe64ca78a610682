// A log that somebody holds: Windows moves no file that is open elsewhere.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"

#include <windows.h>

#include <chrono>
#include <fstream>
#include <limits>

namespace blackbox {
namespace {

// Takes a log's turn to append, for as long as this lives.
class HeldTurn
{
public:
    explicit HeldTurn(const std::filesystem::path& log)
        : file(CreateFileW(log.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, 0, nullptr))
    {
        OVERLAPPED place{};
        place.OffsetHigh = std::numeric_limits<LONG>::max();
        taken =
            LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) != FALSE;
    }
    ~HeldTurn() { CloseHandle(file); }
    HeldTurn(const HeldTurn&) = delete;
    HeldTurn& operator=(const HeldTurn&) = delete;

    [[nodiscard]] bool IsTaken() const { return taken; }

private:
    HANDLE file;
    bool taken = false;
};

using HeldLogTest = BlackBoxTest;

TEST_F(HeldLogTest, FullLogStaysWhileOldOnesMoveUp)
{
    WriteFile(Directory() / "Pkcs11.log", std::string(2097153, 'x'));
    WriteFile(Directory() / "Pkcs11_1.log", "older");
    const std::ifstream reader(Directory() / "Pkcs11.log");
    ASSERT_TRUE(reader.is_open());
    Initialize();
    EXPECT_EQ(ReadFile(Directory() / "Pkcs11_2.log"), "older");
    EXPECT_FALSE(std::filesystem::exists(Directory() / "Pkcs11_1.log"));
    const std::string log = ReadFile(Directory() / "Pkcs11.log");
    EXPECT_EQ(log.substr(0, 2097153), std::string(2097153, 'x'));
    EXPECT_TRUE(log.substr(2097153).starts_with("CardAPI, version: ")) << "appended, with a new header";
}

TEST_F(HeldLogTest, LogAndConfigurationCanBeReadWhileTheLibraryWrites)
{
    WriteFile(Directory() / "config.json", R"({"log": {"logFromLevel": "LogLevel_Debug"}})");
    const std::ifstream configuration(Directory() / "config.json");
    Initialize();
    CK_INFO info{};
    ASSERT_EQ(f->C_GetInfo(&info), CKR_OK);
    EXPECT_NE(ReadFile(Directory() / "Pkcs11.log").find("PKCS11_FUNCTION_LEAVING, result 0"),
              std::string::npos);
}

TEST_F(HeldLogTest, ProcessThatStandsStillInItsTurnIsWaitedForOnce)
{
    WriteFile(Directory() / "config.json", R"({"log": {"logFromLevel": "LogLevel_Debug"}})");
    Initialize();
    const auto before = CountOf(ReadFile(Directory() / "Pkcs11.log"), "\r\n");
    const HeldTurn turn(Directory() / "Pkcs11.log");
    ASSERT_TRUE(turn.IsTaken());
    const auto begin = std::chrono::steady_clock::now();
    constexpr size_t calls = 20;
    for (size_t call = 0; call < calls; ++call) {
        CK_INFO info{};
        ASSERT_EQ(f->C_GetInfo(&info), CKR_OK);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_EQ(CountOf(ReadFile(Directory() / "Pkcs11.log"), "\r\n"), before + 2 * calls);
}

} // namespace
} // namespace blackbox
