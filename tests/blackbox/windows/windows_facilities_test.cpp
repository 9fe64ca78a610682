// What the library asks of Windows beside files: the search path for libraries, and the debugger channel.
#include "tests/support/black_box_test.h"
#include "tests/support/log_host.h"
#include "tests/support/system.h"

#include <windows.h>

#include <array>

namespace blackbox {
namespace {

constexpr DWORD printForDebugger = 0x40010006; // the exception that OutputDebugStringA is

// The texts that this process sends to the debugger channel as long as this lives. Without a debugger the
// exception that carries them comes to the process itself.
class DebuggerChannel
{
public:
    DebuggerChannel() : handler(AddVectoredExceptionHandler(1, &Receive)) { Texts().clear(); }
    ~DebuggerChannel() { RemoveVectoredExceptionHandler(handler); }
    DebuggerChannel(const DebuggerChannel&) = delete;
    DebuggerChannel& operator=(const DebuggerChannel&) = delete;

    static std::vector<std::string>& Texts()
    {
        static std::vector<std::string> texts;
        return texts;
    }

private:
    static LONG CALLBACK Receive(EXCEPTION_POINTERS* exception)
    {
        const auto* record = exception->ExceptionRecord;
        if (record->ExceptionCode != printForDebugger) {
            return EXCEPTION_CONTINUE_SEARCH;
        }
        // Its length, with the zero, and its address.
        Texts().emplace_back(reinterpret_cast<const char*>(record->ExceptionInformation[1]));
        return EXCEPTION_CONTINUE_EXECUTION;
    }

    void* handler;
};

using WindowsFacilitiesTest = BlackBoxTest;

TEST_F(WindowsFacilitiesTest, LoadingPutsTheLibrarysFolderOnTheSearchPath)
{
    std::array<wchar_t, MAX_PATH> folder{};
    ASSERT_NE(GetDllDirectoryW(static_cast<DWORD>(folder.size()), folder.data()), 0U);
    EXPECT_EQ(std::filesystem::path(folder.data()), ScriptedFolder());
}

TEST_F(WindowsFacilitiesTest, DebuggerSinkIsTheDebuggerChannel)
{
    WriteFile(
        Directory() / "config.json",
        R"({"log": {"logToDebugger": true, "logToFile": false, "timeFormat": "LogTimeFormat_Millisec"}})");
    const DebuggerChannel channel;
    Initialize();
    EXPECT_EQ(f->C_GetInfo(nullptr), CKR_ARGUMENTS_BAD);
    const auto texts = DebuggerChannel::Texts();
    ASSERT_GE(texts.size(), 2U);
    EXPECT_EQ(texts.front(), "CardAPI, version: v4.8_RC2\r\n") << "each piece of the header by itself";
    EXPECT_TRUE(texts.back().starts_with(" ERR; ")) << texts.back();
    EXPECT_TRUE(
        texts.back().ends_with(";      pkcs11_x64; PKCS11_FUNCTION_LEAVING, result 7 CKR_ARGUMENTS_BAD\r\n"))
        << "with its line end";
}

} // namespace
} // namespace blackbox
