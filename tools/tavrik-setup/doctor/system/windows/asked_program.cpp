#include "tools/tavrik-setup/doctor/system/windows/asked_program.h"

#include "softcard/system/windows/handle.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/files/system/windows/piped_run.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <fcntl.h>
#include <io.h>

namespace setup {
namespace {

using nlohmann::json;

constexpr size_t longestAnswer = 1048576;
constexpr DWORD firstException = 0xC0000000; // among exit codes
constexpr UINT exitCodeOfAbort = 3;

// The standard output, which from here on leads nowhere for all others.
softcard::Handle TakeOutput()
{
    HANDLE taken = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetStdHandle(STD_OUTPUT_HANDLE), GetCurrentProcess(), &taken, 0,
                    FALSE, DUPLICATE_SAME_ACCESS);
    const int nowhere = _open("NUL", _O_WRONLY);
    _dup2(nowhere, _fileno(stdout)); // which sets the standard handle too
    _dup2(nowhere, _fileno(stderr));
    return softcard::Handle(taken);
}

void WriteAll(HANDLE target, std::string_view text)
{
    while (!text.empty()) {
        DWORD written = 0;
        if (::WriteFile(target, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) == FALSE) {
            return;
        }
        text.remove_prefix(written);
    }
}

std::string AsHex(DWORD number)
{
    std::array<char, 11> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "0x%08lX", number));
    return text.data();
}

} // namespace

LookAnswer AskProgram(std::chrono::seconds longest, const std::filesystem::path& program,
                      const std::vector<std::string>& arguments)
{
    const PipedRun run =
        RunPiped(program, arguments, {longest, longestAnswer, Excess::endsProgram}, "", Errors::dropped);
    if (!run.inTime) {
        return {nullptr, "gave no answer within " + std::to_string(longest.count()) + " seconds"};
    }
    if (run.exitCode >= firstException) {
        return {nullptr, "crashed (exception " + AsHex(run.exitCode) + ")"};
    }
    if (run.exitCode == exitCodeOfAbort) {
        return {nullptr, "crashed (abort)"};
    }
    json value = json::parse(run.output, nullptr, false);
    if (value.is_discarded()) {
        return {nullptr, "gave no answer"};
    }
    return {std::move(value), {}};
}

void AnswerAndEnd(const std::function<json()>& make)
{
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    const softcard::Handle output = TakeOutput();
    UINT exitCode = EXIT_SUCCESS;
    try {
        WriteAll(output.get(), make().dump(-1, ' ', true, json::error_handler_t::replace));
    } catch (const std::exception&) {
        exitCode = EXIT_FAILURE;
    }
    TerminateProcess(GetCurrentProcess(), exitCode); // without what libraries do at the end of a process
    std::abort();
}

} // namespace setup
