#include "tests/support/log_capture.h"

#include <array>
#include <cstdio>
#include <optional>

namespace blackbox {
namespace {

constexpr size_t moduleWidth = 15;

bool BeginsLikeALine(const std::string& text)
{
    static const std::array<std::string, 5> levels{" ERR; ", "WARN; ", "INFO; ", " DBG; ", "Unknown; "};
    for (const std::string& level : levels) {
        if (text.starts_with(level)) {
            return true;
        }
    }
    return false;
}

} // namespace

LogCapture::LogCapture(ScriptedCard* scriptedCard, const scripted::LogSwitches& switches)
    : script(scriptedCard)
{
    static_assert(moduleWidth == sizeof("     pkcs11_x64") - 1);
    script->SetLogSwitches(switches);
    output.emplace();
}

LogCapture::~LogCapture()
{
    Forget();
    output.reset();
    script->SetLogSwitches(std::nullopt);
    static_cast<void>(std::fputs(foreign.c_str(), stdout));
    static_cast<void>(std::fflush(stdout));
}

std::string LogCapture::Raw() const
{
    return output->From(position);
}

std::vector<LogLine> LogCapture::Lines() const
{
    std::vector<LogLine> lines;
    for (const std::string& piece : PiecesOf(Raw())) {
        if (piece.ends_with("\r\n") && BeginsLikeALine(piece)) {
            lines.push_back(ParseLogLine(piece));
        }
    }
    return lines;
}

std::vector<std::string> LogCapture::Take()
{
    std::vector<std::string> texts;
    for (const LogLine& line : Lines()) {
        texts.push_back(line.Text());
    }
    Forget();
    return texts;
}

std::vector<std::string> LogCapture::TakeOf(const std::string& function)
{
    std::vector<std::string> texts;
    for (const LogLine& line : Lines()) {
        if (line.function == function) {
            texts.push_back(line.Text());
        }
    }
    Forget();
    return texts;
}

void LogCapture::Forget()
{
    const std::string raw = Raw();
    for (const std::string& piece : PiecesOf(raw)) {
        if (!piece.ends_with("\r\n")) {
            foreign += piece;
        }
    }
    position += raw.size();
}

} // namespace blackbox
