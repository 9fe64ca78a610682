#include "tests/support/log_capture.h"

#include <array>
#include <cstdio>
#include <optional>
#include <stdexcept>

namespace blackbox {
namespace {

constexpr size_t moduleWidth = 15;
constexpr size_t levelWidth = 4;

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

// Cuts the text before the next separator off the front, with the separator.
std::string CutField(std::string& rest)
{
    const size_t end = rest.find("; ");
    std::string field = rest.substr(0, end);
    rest.erase(0, end == std::string::npos ? end : end + 2);
    return field;
}

void ParseTail(std::string tail, LogLine& line)
{
    line.extensive = true;
    line.thread = CutField(tail);
    line.thread.erase(0, std::string("ThID: ").size());
    const std::string marker = "VERB: ";
    if (!tail.starts_with(marker)) {
        throw std::runtime_error("no function in: " + line.raw);
    }
    tail.erase(0, marker.size());
    line.hasVerbose = tail.find(";  ") != std::string::npos;
    line.function = CutField(tail);
    line.verbose = line.hasVerbose ? tail.substr(1) : "";
}

LogLine Parse(const std::string& raw)
{
    LogLine line;
    line.raw = raw;
    std::string rest = raw.substr(0, raw.size() - 2);
    line.level = CutField(rest);
    line.time = CutField(rest);
    line.module = CutField(rest);
    const size_t tail = rest.find("; ThID: ");
    line.description = rest.substr(0, tail);
    if (tail != std::string::npos) {
        ParseTail(rest.substr(tail + 2), line);
    }
    return line;
}

// The text cut behind each newline.
std::vector<std::string> PiecesOf(const std::string& text)
{
    std::vector<std::string> pieces;
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t newline = text.find('\n', begin);
        const size_t end = newline == std::string::npos ? text.size() : newline + 1;
        pieces.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return pieces;
}

} // namespace

std::string LogLine::Text() const
{
    std::string text = level.size() == levelWidth && level.front() == ' ' ? level.substr(1) : level;
    text += " ";
    if (extensive) {
        text += function + ": ";
    }
    text += description;
    return hasVerbose ? text + " VERB:" + verbose : text;
}

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
            lines.push_back(Parse(piece));
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
