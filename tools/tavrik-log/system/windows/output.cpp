#include "tools/tavrik-log/system/output.h"

#include "tools/tavrik-log/system/windows/failure.h"

#include <algorithm>
#include <string>

#include <windows.h>

#include <winternl.h>

namespace logtool {
namespace {

constexpr size_t mostInOneWrite = 8192; // what a console takes in one call

HANDLE Output()
{
    return GetStdHandle(STD_OUTPUT_HANDLE);
}

bool IsConsole(DWORD& mode)
{
    return GetConsoleMode(Output(), &mode) != FALSE;
}

[[noreturn]] void ThrowFailedWrite()
{
    const DWORD error = GetLastError();
    if (error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA || error == ERROR_PIPE_NOT_CONNECTED) {
        throw ReaderGone();
    }
    throw LastFailure("standard output");
}

// A console has characters and no bytes, so that its code page does not matter.
void WriteToConsole(std::string_view text)
{
    const auto size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0'); // no character takes more units there than bytes here
    wide.resize(static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
    std::wstring_view left = wide;
    while (!left.empty()) {
        size_t length = std::min(left.size(), mostInOneWrite);
        if (length < left.size() && IS_HIGH_SURROGATE(left[length - 1])) {
            --length;
        }
        DWORD written = 0;
        if (WriteConsoleW(Output(), left.data(), static_cast<DWORD>(length), &written, nullptr) == FALSE) {
            ThrowFailedWrite();
        }
        left.remove_prefix(written);
    }
}

// A pipe tells it to who asks for its state; to write nothing into it would look like its end to the reader.
bool ReaderIsGone()
{
    struct
    {
        ULONG type, configuration, mostInstances, instances, inboundQuota, readable, outboundQuota, writable,
            state, end;
    } pipe{};
    constexpr auto pipeInformation = static_cast<FILE_INFORMATION_CLASS>(24); // FilePipeLocalInformation
    constexpr ULONG closing = 4;                                              // FILE_PIPE_CLOSING_STATE
    IO_STATUS_BLOCK status{};
    return GetFileType(Output()) == FILE_TYPE_PIPE &&
           NT_SUCCESS(NtQueryInformationFile(Output(), &status, &pipe, sizeof pipe, pipeInformation)) &&
           pipe.state == closing;
}

} // namespace

void LetWritesFail() {} // as they do

void WriteOut(std::string_view text)
{
    DWORD mode = 0;
    if (IsConsole(mode)) {
        WriteToConsole(text);
        return;
    }
    while (!text.empty()) {
        DWORD written = 0;
        if (WriteFile(Output(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) == FALSE) {
            ThrowFailedWrite();
        }
        text.remove_prefix(written);
    }
}

void WaitForReader(int milliseconds)
{
    Sleep(static_cast<DWORD>(milliseconds));
    if (ReaderIsGone()) {
        throw ReaderGone();
    }
}

Terminal::Terminal() : isThere(IsConsole(modeBefore))
{
    CONSOLE_SCREEN_BUFFER_INFO screen{};
    if (!isThere || GetConsoleScreenBufferInfo(Output(), &screen) == FALSE) {
        return;
    }
    takesColours = SetConsoleMode(Output(), modeBefore | ENABLE_PROCESSED_OUTPUT |
                                                ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
    // A line that fills the screen's ends there, and its line feed makes an empty one.
    width = static_cast<size_t>(std::max(screen.srWindow.Right - screen.srWindow.Left, 0));
}

Terminal::~Terminal()
{
    if (takesColours) {
        SetConsoleMode(Output(), modeBefore);
    }
}

} // namespace logtool
