#include "tests/support/program.h"

#include "softcard/base/text.h"
#include "softcard/system/files.h"
#include "softcard/system/windows/command_line.h"
#include "softcard/system/windows/handle.h"

#include <stdexcept>

namespace softcard::test {
namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

Handle OpenForPrograms(const std::filesystem::path& path, DWORD access, DWORD disposition)
{
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    Handle file = Own(CreateFileW(path.c_str(), access, shareAll, &inherited, disposition, 0, nullptr));
    if (!file) {
        throw std::runtime_error("cannot be opened: " + Utf8Of(path));
    }
    return file;
}

struct Streams
{
    HANDLE input;
    HANDLE output;
    HANDLE errors;
};

Process Spawn(const std::vector<std::string>& arguments, const Streams& streams)
{
    // Paths of the build begin with a slash, which Windows takes for an option in this place.
    const std::filesystem::path program =
        std::filesystem::absolute(PathOf(arguments.front())).make_preferred();
    std::wstring commandLine = CommandLineOf(program, {arguments.begin() + 1, arguments.end()});
    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = streams.input;
    start.hStdOutput = streams.output;
    start.hStdError = streams.errors;
    PROCESS_INFORMATION made{};
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                       &start, &made) == FALSE) {
        throw std::runtime_error("cannot be started: " + arguments.front());
    }
    CloseHandle(made.hThread);
    return reinterpret_cast<Process>(made.hProcess);
}

// A file that takes what a program says, and goes with the object.
class Catcher
{
public:
    Catcher() : folder(MakeUniqueFolder(std::filesystem::temp_directory_path() / "softcard-output-"))
    {
        file = OpenForPrograms(folder / "text", GENERIC_WRITE, CREATE_ALWAYS);
    }
    ~Catcher()
    {
        file.reset();
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    Catcher(const Catcher&) = delete;
    Catcher& operator=(const Catcher&) = delete;
    Catcher(Catcher&&) = delete;
    Catcher& operator=(Catcher&&) = delete;

    [[nodiscard]] HANDLE File() const { return file.get(); }
    [[nodiscard]] std::string Content() const { return ReadFile(folder / "text"); }

private:
    std::filesystem::path folder;
    Handle file;
};

} // namespace

Finished RunProgram(const std::vector<std::string>& arguments)
{
    return RunProgramOn("NUL", arguments);
}

Finished RunProgramOn(const std::filesystem::path& input, const std::vector<std::string>& arguments)
{
    const Catcher output;
    const Catcher errors;
    const Handle source = OpenForPrograms(input, GENERIC_READ, OPEN_EXISTING);
    const int exitCode = AwaitProgram(Spawn(arguments, {source.get(), output.File(), errors.File()}));
    return {exitCode, output.Content(), errors.Content()};
}

Process StartProgram(const std::vector<std::string>& arguments)
{
    return Spawn(arguments, {GetStdHandle(STD_INPUT_HANDLE), GetStdHandle(STD_OUTPUT_HANDLE),
                             GetStdHandle(STD_ERROR_HANDLE)});
}

int AwaitProgram(Process process)
{
    const Handle handle(reinterpret_cast<HANDLE>(process));
    WaitForSingleObject(handle.get(), INFINITE);
    DWORD exitCode = 0;
    GetExitCodeProcess(handle.get(), &exitCode);
    return static_cast<int>(exitCode);
}

bool StillRuns(Process process)
{
    return WaitForSingleObject(reinterpret_cast<HANDLE>(process), 0) == WAIT_TIMEOUT;
}

void KillProgram(Process process)
{
    TerminateProcess(reinterpret_cast<HANDLE>(process), static_cast<UINT>(-1));
}

std::filesystem::path OwnProgram()
{
    std::wstring path(MAX_PATH, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
    return path;
}

} // namespace softcard::test
