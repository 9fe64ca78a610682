// Runs a command without a window of its own, with a pipe for all that it writes.
#include "platform/platform.h"

#include <windows.h>

#include <array>

namespace {

constexpr DWORD longestWait = 1000; // milliseconds
constexpr DWORD mostOutput = 1023;  // bytes

class Handle
{
public:
    Handle() = default;
    ~Handle() { Close(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    HANDLE* Place() { return &handle; }
    [[nodiscard]] HANDLE Get() const { return handle; }
    void Close()
    {
        if (handle != nullptr) {
            CloseHandle(handle);
        }
        handle = nullptr;
    }

private:
    HANDLE handle = nullptr;
};

SECURITY_ATTRIBUTES Inheritable()
{
    SECURITY_ATTRIBUTES attributes{};
    attributes.nLength = sizeof(attributes);
    attributes.bInheritHandle = TRUE;
    return attributes;
}

// Starts the command and gives its process; false when there is none.
bool Start(const char* commandLine, HANDLE output, Handle& process)
{
    STARTUPINFOA startup{};
    GetStartupInfoA(&startup);
    startup.hStdOutput = output;
    startup.hStdError = output;
    startup.dwFlags |= STARTF_USESTDHANDLES;

    std::string writable = commandLine; // the call may change it
    auto attributes = Inheritable();
    PROCESS_INFORMATION started{};
    if (CreateProcessA(nullptr, writable.data(), &attributes, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                       nullptr, &startup, &started) == FALSE) {
        return false;
    }
    CloseHandle(started.hThread);
    *process.Place() = started.hProcess;
    return true;
}

} // namespace

const char* Platform::OsListingCommand()
{
    return "cmd /c wmic os get Caption,OSArchitecture,CSDVersion,MUILanguages,Version /value";
}

void Platform::RunCommandCaptureOutput(const char* commandLine, std::string& output)
{
    auto attributes = Inheritable();
    Handle readEnd;
    Handle writeEnd;
    if (CreatePipe(readEnd.Place(), writeEnd.Place(), &attributes, 0) == FALSE) {
        return;
    }
    Handle process;
    if (!Start(commandLine, writeEnd.Get(), process)) {
        return;
    }
    // With this end open, the read would wait for ever after a command that ends without a word.
    writeEnd.Close();
    WaitForSingleObject(process.Get(), longestWait);

    std::array<char, mostOutput + 1> text{};
    DWORD length = 0;
    if (ReadFile(readEnd.Get(), text.data(), mostOutput, &length, nullptr) != FALSE) {
        output = text.data();
    } else {
        output.append("error: ").append(std::to_string(static_cast<int>(GetLastError())));
    }
}
