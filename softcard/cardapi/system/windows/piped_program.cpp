#include "softcard/cardapi/system/windows/piped_program.h"

#include "softcard/system/windows/child_pipes.h"
#include "softcard/system/windows/command_line.h"

#include <string>

namespace softcard {
namespace {

constexpr DWORD longestEnd = 5000; // milliseconds

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
    std::wstring commandLine = CommandLineOf(program);
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
