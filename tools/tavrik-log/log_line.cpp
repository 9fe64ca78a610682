#include "tools/tavrik-log/log_line.h"

#include <array>
#include <optional>
#include <utility>

namespace logtool {
namespace {

constexpr std::string_view separator = "; ";
constexpr std::string_view threadMark = "; ThID: ";
constexpr std::string_view functionMark = "; VERB: ";
// The longest tail that the library composes, in bytes without the line ending.
constexpr size_t longestTail = 3581;

constexpr std::array<std::pair<std::string_view, Level>, 5> levelTexts = {{{" ERR", Level::error},
                                                                           {"WARN", Level::warning},
                                                                           {"INFO", Level::info},
                                                                           {" DBG", Level::debug},
                                                                           {"Unknown", Level::unknown}}};

// Takes the text up to the next separator, and the separator, off the front of `rest`.
std::optional<std::string_view> TakeField(std::string_view& rest)
{
    const size_t end = rest.find(separator);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view field = rest.substr(0, end);
    rest.remove_prefix(end + separator.size());
    return field;
}

std::optional<Level> ParseLevel(std::string_view field)
{
    for (const auto& [text, level] : levelTexts) {
        if (text == field) {
            return level;
        }
    }
    return std::nullopt;
}

std::string_view WithoutLeadingBlanks(std::string_view text)
{
    const size_t begin = text.find_first_not_of(' ');
    return begin == std::string_view::npos ? std::string_view() : text.substr(begin);
}

void ParseTail(std::string_view tail, LogLine& line)
{
    tail.remove_prefix(threadMark.size());
    const size_t threadEnd = tail.find(functionMark);
    line.thread = tail.substr(0, threadEnd);
    if (threadEnd == std::string_view::npos) {
        return;
    }
    tail.remove_prefix(threadEnd + functionMark.size());
    const size_t functionEnd = tail.find(separator);
    line.function = tail.substr(0, functionEnd);
    if (functionEnd != std::string_view::npos) {
        line.verbose = WithoutLeadingBlanks(tail.substr(functionEnd + separator.size()));
    }
}

} // namespace

// Takes the fields of the frame off the front of `rest`. False when it has no frame.
bool LineReader::ReadFrame(std::string_view& rest)
{
    const auto levelField = TakeField(rest);
    const auto timeField = TakeField(rest);
    const auto moduleField = TakeField(rest);
    if (!levelField || !timeField || !moduleField) {
        return false;
    }
    const auto level = ParseLevel(*levelField);
    if (!level || !times.Read(*timeField, line.time)) {
        return false;
    }
    line.level = *level;
    line.module = WithoutLeadingBlanks(*moduleField);
    return true;
}

const LogLine& LineReader::Read(std::string_view text)
{
    line.text = text;
    line.thread.clear();
    line.function.clear();
    line.verbose.clear();
    std::string_view rest = text;
    line.framed = ReadFrame(rest);
    if (!line.framed) {
        line.level = Level::unknown;
        line.time = {};
        line.module.clear();
        line.description.clear();
        line.cut = text.size() >= longestReadLine;
        return line;
    }
    const size_t tail = rest.find(threadMark);
    line.description = rest.substr(0, tail);
    line.cut = text.size() >= longestLibraryLine;
    if (tail != std::string_view::npos) {
        line.cut = line.cut || rest.size() - tail >= longestTail;
        ParseTail(rest.substr(tail), line);
    }
    return line;
}

LogLine ParseLine(std::string_view text)
{
    return LineReader().Read(text);
}

std::string_view LevelName(Level level)
{
    switch (level) {
    case Level::error:
        return "error";
    case Level::warning:
        return "warning";
    case Level::info:
        return "info";
    case Level::debug:
        return "debug";
    case Level::unknown:
        break;
    }
    return "unknown";
}

} // namespace logtool
