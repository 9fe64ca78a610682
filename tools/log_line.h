// One line of a log file, taken apart.
#pragma once

#include "log_time.h"

#include <string>
#include <string_view>

namespace logtool {

enum class Level
{
    error,
    warning,
    info,
    debug,
    unknown
};

struct LogLine
{
    // False for a line without the frame, such as those of a session header: then only `text` is set.
    bool framed = false;
    std::string text; // the whole line, without its ending
    Level level = Level::unknown;
    LineTime time;
    std::string module;
    std::string description;
    std::string thread;   // "0x1f3c"; empty when the line has no tail
    std::string function; // empty when the line has no tail
    std::string verbose;  // without the blanks before it
    bool cut = false;     // the line is as long as a line can be, so its end is probably missing
};

// `text` without its line ending.
LogLine ParseLine(std::string_view text);

// "error", "warning", "info", "debug", "unknown".
std::string_view LevelName(Level level);

} // namespace logtool
