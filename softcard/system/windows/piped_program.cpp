#include "softcard/system/windows/piped_program.h"

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
    explicit InheritedHandles(const std::array<HANDLE, 2>& handles) : handles_(handles)
    {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        memory_.resize(size);
        isReady_ = InitializeProcThreadAttributeList(List(), 1, 0, &size) != FALSE;
        if (isReady_) {
            UpdateProcThreadAttribute(List(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                      sizeof(HANDLE) * handles_.size(), nullptr, nullptr);
        }
    }

    ~InheritedHandles()
    {
        if (isReady_) {
            DeleteProcThreadAttributeList(List());
        }
    }

    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;
    InheritedHandles(InheritedHandles&&) = delete;
    InheritedHandles& operator=(InheritedHandles&&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST List()
    {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
    }

private:
    std::array<HANDLE, 2> handles_;
    std::vector<unsigned char> memory_;
    bool isReady_ = false;
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
    started.process_ = Handle(made.hProcess);
    started.input_ = std::move(toProgram->writeEnd);
    started.output_ = std::move(fromProgram->readEnd);
    return started;
}

PipedProgram::~PipedProgram()
{
    if (!process_) {
        return;
    }
    input_.reset();
    if (WaitForSingleObject(process_.get(), longestEnd) != WAIT_OBJECT_0) {
        TerminateProcess(process_.get(), 1);
    }
}

} // namespace softcard
