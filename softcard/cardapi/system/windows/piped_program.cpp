#include "softcard/cardapi/system/windows/piped_program.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace softcard {
namespace {

constexpr DWORD longestEnd = 5000; // milliseconds

struct Pipe
{
    Handle readEnd;
    Handle writeEnd;
};

// The program inherits the one end; what other threads start meanwhile must not get the other.
std::optional<Pipe> MakePipe(Handle Pipe::*inherited)
{
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (CreatePipe(&readEnd, &writeEnd, nullptr, 0) == FALSE) {
        return std::nullopt;
    }
    Pipe pipe{Handle(readEnd), Handle(writeEnd)};
    SetHandleInformation((pipe.*inherited).get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    return pipe;
}

// The list of the handles that a program inherits, whatever else could be inherited at that moment.
class InheritedHandles
{
public:
    explicit InheritedHandles(const std::array<HANDLE, 2>& inherited) : handles(inherited)
    {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        memory.resize(size);
        isReady = InitializeProcThreadAttributeList(List(), 1, 0, &size) != FALSE;
        if (isReady) {
            UpdateProcThreadAttribute(List(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                      sizeof(HANDLE) * handles.size(), nullptr, nullptr);
        }
    }

    ~InheritedHandles()
    {
        if (isReady) {
            DeleteProcThreadAttributeList(List());
        }
    }

    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;
    InheritedHandles(InheritedHandles&&) = delete;
    InheritedHandles& operator=(InheritedHandles&&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST List()
    {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
    }

private:
    std::array<HANDLE, 2> handles;
    std::vector<unsigned char> memory;
    bool isReady = false;
};

} // namespace

std::optional<PipedProgram> PipedProgram::Start(const std::filesystem::path& program)
{
    auto toProgram = MakePipe(&Pipe::readEnd);
    auto fromProgram = MakePipe(&Pipe::writeEnd);
    if (!toProgram || !fromProgram) {
        return std::nullopt;
    }
    InheritedHandles inherited({toProgram->readEnd.get(), fromProgram->writeEnd.get()});
    STARTUPINFOEXW start{};
    start.StartupInfo.cb = sizeof start;
    start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    start.StartupInfo.hStdInput = toProgram->readEnd.get();
    start.StartupInfo.hStdOutput = fromProgram->writeEnd.get();
    start.lpAttributeList = inherited.List();
    std::wstring commandLine = L"\"" + program.native() + L"\"";
    PROCESS_INFORMATION made{};
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                       EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &start.StartupInfo, &made) == FALSE) {
        return std::nullopt;
    }
    CloseHandle(made.hThread);
    PipedProgram started;
    started.process = Handle(made.hProcess);
    started.input = std::move(toProgram->writeEnd);
    started.output = std::move(fromProgram->readEnd);
    return started;
}

PipedProgram::~PipedProgram()
{
    if (!process) {
        return;
    }
    input.reset();
    if (WaitForSingleObject(process.get(), longestEnd) != WAIT_OBJECT_0) {
        TerminateProcess(process.get(), 1);
    }
}

} // namespace softcard
