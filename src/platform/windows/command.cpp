// Runs a command without a window of its own, with a pipe for all that it writes.
#include "src/platform/platform.h"

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

// The one handle that a new process inherits. Without such a list it would inherit all that can be inherited,
// and whoever holds the log keeps it from being moved.
class InheritedHandle
{
public:
    explicit InheritedHandle(HANDLE inherited) : handle(inherited)
    {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        storage.resize(size);
        usable = InitializeProcThreadAttributeList(List(), 1, 0, &size) != FALSE;
        usable = usable && UpdateProcThreadAttribute(List(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, &handle,
                                                     sizeof(handle), nullptr, nullptr) != FALSE;
    }
    ~InheritedHandle()
    {
        if (usable) {
            DeleteProcThreadAttributeList(List());
        }
    }
    InheritedHandle(const InheritedHandle&) = delete;
    InheritedHandle& operator=(const InheritedHandle&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST List()
    {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage.data());
    }

private:
    HANDLE handle;
    std::vector<char> storage;
    bool usable = false;
};

// Starts the command and gives its process; false when there is none.
bool Start(const char* commandLine, HANDLE output, Handle& process)
{
    InheritedHandle inherited(output);
    STARTUPINFOEXA startup{};
    GetStartupInfoA(&startup.StartupInfo);
    startup.StartupInfo.cb = sizeof(startup);
    startup.StartupInfo.hStdOutput = output;
    startup.StartupInfo.hStdError = output;
    startup.StartupInfo.dwFlags |= STARTF_USESTDHANDLES;
    startup.lpAttributeList = inherited.List();

    std::string writable = commandLine; // the call may change it
    auto attributes = Inheritable();
    PROCESS_INFORMATION started{};
    if (CreateProcessA(nullptr, writable.data(), &attributes, nullptr, TRUE,
                       CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                       &startup.StartupInfo, &started) == FALSE) {
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
