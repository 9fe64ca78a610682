#include "tests/support/log_line.h"

#include <stdexcept>

namespace blackbox {
namespace {

constexpr size_t levelWidth = 4;

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

LogLine ParseLogLine(const std::string& raw)
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

} // namespace blackbox
