// A program that speaks Assuan through pipes, or the host's console.
#include "softcard/cardapi/system/pinentry_program.h"

#include "softcard/base/text.h"
#include "softcard/cardapi/system/program_path.h"
#include "softcard/cardapi/system/windows/piped_program.h"
#include "softcard/system/windows/console.h"

#include <string>

namespace softcard {
namespace {

// The lines of a program, as its question has them.
class PipedLines : public ProgramLines
{
public:
    explicit PipedLines(const LineChannel& ofProgram) : channel(ofProgram) {}

    [[nodiscard]] std::optional<SecretText> Read(Deadline deadline) override
    {
        return channel.Read(deadline);
    }
    [[nodiscard]] bool Write(std::string_view line) override { return channel.Write(line); }

private:
    LineChannel channel;
};

void Show(HANDLE console, const std::string& text)
{
    const std::wstring wide = PathOf(text).native();
    WriteConsoleW(console, wide.data(), static_cast<DWORD>(wide.size()), nullptr, nullptr);
}

Handle OpenConsole(const wchar_t* name)
{
    return Own(CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, 0, nullptr));
}

} // namespace

std::optional<SecretText> AskThroughProgram(const std::filesystem::path& program, const Question& question)
{
    const std::filesystem::path file = FindProgram(program);
    const auto started = file.empty() ? std::nullopt : PipedProgram::Start(file);
    if (!started) {
        return std::nullopt;
    }
    PipedLines lines(started->Channel());
    return AskInAssuan(lines, question, {});
}

// A host without a console counts as a user who cancels.
std::optional<SecretText> AskWithoutChoice(const Question& question)
{
    const Handle input = OpenConsole(L"CONIN$");
    const Handle output = OpenConsole(L"CONOUT$");
    if (!input || !output || !IsConsole(input.get())) {
        return std::nullopt;
    }
    if (question.prompt.empty()) {
        Show(output.get(), question.description + "\r\n");
        return SecretText();
    }
    Show(output.get(), question.description + "\r\n" + question.prompt + " ");
    auto code = ReadSilently(input.get());
    Show(output.get(), "\r\n");
    return code;
}

} // namespace softcard
