#include "tools/tavrik-setup/files/system/windows/piped_run.h"

#include "softcard/base/text.h"
#include "softcard/system/windows/child_pipes.h"
#include "softcard/system/windows/command_line.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/files/system/windows/error_text.h"

#include <algorithm>
#include <array>
#include <optional>
#include <thread>

namespace setup {
namespace {

namespace fs = std::filesystem;
using softcard::Handle;
using softcard::Pipe;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds pause{5};
constexpr UINT exitCodeOfEnded = 1;

// What is started in it ends with it.
Handle MakeJob()
{
    Handle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
    if (job) {
        SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
    }
    return job;
}

[[noreturn]] void RefuseToStart(const fs::path& program)
{
    throw Refusal(softcard::Utf8Of(program) + " cannot be started: " + ErrorText(GetLastError()) + ".");
}

Pipe RequirePipe(Handle Pipe::*inherited, const fs::path& program)
{
    auto pipe = softcard::MakePipe(inherited);
    if (!pipe) {
        RefuseToStart(program);
    }
    return std::move(*pipe);
}

Handle OpenNowhere()
{
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return softcard::Own(CreateFileW(L"NUL", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                     OPEN_EXISTING, 0, nullptr));
}

// Before it runs, it is put into the job. Windows 7 lets no program into a second one, as where this program is in one
// itself; it is then ended by itself.
Handle Spawn(const fs::path& program, std::wstring commandLine, const std::array<HANDLE, 3>& streams,
             HANDLE job)
{
    std::vector<HANDLE> handed(streams.begin(), streams.end());
    std::sort(handed.begin(), handed.end());
    handed.erase(std::unique(handed.begin(), handed.end()), handed.end());
    softcard::InheritedHandles inherited(std::move(handed));
    STARTUPINFOEXW start{};
    start.StartupInfo.cb = sizeof start;
    start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    start.StartupInfo.hStdInput = streams[0];
    start.StartupInfo.hStdOutput = streams[1];
    start.StartupInfo.hStdError = streams[2];
    start.lpAttributeList = inherited.List();
    PROCESS_INFORMATION made{};
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                       EXTENDED_STARTUPINFO_PRESENT | CREATE_NO_WINDOW | CREATE_SUSPENDED, nullptr, nullptr,
                       &start.StartupInfo, &made) == FALSE) {
        RefuseToStart(program);
    }
    AssignProcessToJobObject(job, made.hProcess);
    ResumeThread(made.hThread);
    CloseHandle(made.hThread);
    return Handle(made.hProcess);
}

// False when the time is over before the end of the output, and when too much ends the program. A pipe has no better way to
// wait with a limit.
bool ReadToEnd(HANDLE pipe, Clock::time_point deadline, const PipedLimits& limits, std::string& text)
{
    while (Clock::now() < deadline) {
        DWORD available = 0;
        if (PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) == FALSE) {
            return true; // the other end is closed
        }
        if (available == 0) {
            std::this_thread::sleep_for(pause);
            continue;
        }
        std::array<char, 4096> block{};
        DWORD length = 0;
        if (::ReadFile(pipe, block.data(), static_cast<DWORD>(block.size()), &length, nullptr) == FALSE) {
            return true;
        }
        const size_t room = limits.longestOutput - text.size();
        text.append(block.data(), std::min<size_t>(room, length));
        if (length > room && limits.excess == Excess::endsProgram) {
            return false;
        }
    }
    return false;
}

bool AwaitEnd(HANDLE process, Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return WaitForSingleObject(process, static_cast<DWORD>(std::max<int64_t>(left.count(), 0))) ==
           WAIT_OBJECT_0;
}

} // namespace

PipedRun RunPiped(const fs::path& program, const std::vector<std::string>& arguments,
                  const PipedLimits& limits, const std::string& input, Errors errors)
{
    Pipe toProgram = RequirePipe(&Pipe::readEnd, program);
    Pipe fromProgram = RequirePipe(&Pipe::writeEnd, program);
    const Handle nowhere = OpenNowhere();
    const Handle job = MakeJob();
    const Clock::time_point deadline = Clock::now() + limits.longest;
    const Handle process = Spawn(program, softcard::CommandLineOf(program, arguments),
                                 {toProgram.readEnd.get(), fromProgram.writeEnd.get(),
                                  errors == Errors::kept ? fromProgram.writeEnd.get() : nowhere.get()},
                                 job.get());
    toProgram.readEnd.reset();
    fromProgram.writeEnd.reset();
    // As much as a pipe takes without waiting; a program that does not read it is none of our troubles.
    DWORD written = 0;
    ::WriteFile(toProgram.writeEnd.get(), input.data(), static_cast<DWORD>(input.size()), &written, nullptr);
    toProgram.writeEnd.reset();
    PipedRun run;
    run.inTime = ReadToEnd(fromProgram.readEnd.get(), deadline, limits, run.output) &&
                 AwaitEnd(process.get(), deadline);
    if (!run.inTime) {
        TerminateProcess(process.get(), exitCodeOfEnded);
    }
    GetExitCodeProcess(process.get(), &run.exitCode);
    return run;
}

} // namespace setup
