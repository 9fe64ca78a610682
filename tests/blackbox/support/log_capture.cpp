#include "log_capture.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <optional>
#include <stdexcept>

namespace BlackBox {
namespace {

constexpr size_t moduleWidth = 15;
constexpr size_t levelWidth = 4;

int OpenTemporaryFile()
{
    std::array<char, 32> name{"/tmp/tavrik_log_XXXXXX"};
    const int file = mkostemp(name.data(), O_CLOEXEC);
    if (file < 0) {
        throw std::runtime_error("no temporary file");
    }
    unlink(name.data());
    return file;
}

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

LogCapture::LogCapture(ScriptedCard* scripted, const Scripted::LogSwitches& switches)
    : script(scripted), savedOutput(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)), file(OpenTemporaryFile())
{
    static_assert(moduleWidth == sizeof("     pkcs11_x64") - 1);
    script->SetLogSwitches(switches);
    static_cast<void>(std::fflush(stdout));
    dup2(file, STDOUT_FILENO);
}

LogCapture::~LogCapture()
{
    Forget();
    dup2(savedOutput, STDOUT_FILENO);
    close(savedOutput);
    close(file);
    script->SetLogSwitches(std::nullopt);
    static_cast<void>(std::fputs(foreign.c_str(), stdout));
    static_cast<void>(std::fflush(stdout));
}

std::string LogCapture::Raw() const
{
    static_cast<void>(std::fflush(stdout));
    std::string text;
    std::array<char, 65536> block{};
    size_t offset = position;
    while (true) {
        const ssize_t got = pread(file, block.data(), block.size(), static_cast<off_t>(offset));
        if (got <= 0) {
            return text;
        }
        text.append(block.data(), static_cast<size_t>(got));
        offset += static_cast<size_t>(got);
    }
}

std::vector<LogLine> LogCapture::Lines() const
{
    std::vector<LogLine> lines;
    const std::string raw = Raw();
    size_t begin = 0;
    while (begin < raw.size()) {
        const size_t newline = raw.find('\n', begin);
        const size_t end = newline == std::string::npos ? raw.size() : newline + 1;
        const std::string piece = raw.substr(begin, end - begin);
        if (piece.ends_with("\r\n") && BeginsLikeALine(piece)) {
            lines.push_back(Parse(piece));
        }
        begin = end;
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
    size_t begin = 0;
    while (begin < raw.size()) {
        const size_t newline = raw.find('\n', begin);
        const size_t end = newline == std::string::npos ? raw.size() : newline + 1;
        const std::string piece = raw.substr(begin, end - begin);
        if (!piece.ends_with("\r\n")) {
            foreign += piece;
        }
        begin = end;
    }
    position += raw.size();
}

} // namespace BlackBox
