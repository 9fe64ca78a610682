// One line of a log file, taken apart.
#pragma once

#include "tools/tavrik-log/log_time.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace logtool {

// The longest line that the library composes, in bytes without the line ending.
inline constexpr size_t longestLibraryLine = 4093;
// What is read of a line; the rest of a longer one is passed over.
inline constexpr size_t longestReadLine = size_t{1} << 20U;

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
    // False for a line without the frame, such as those of a session header: then only `text` and `cut` are
    // set.
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

// The same for many lines.
class LineReader
{
public:
    // Valid until the next one.
    const LogLine& Read(std::string_view text);

private:
    bool ReadFrame(std::string_view& rest);

    LogLine line;
    TimeReader times;
};

// "error", "warning", "info", "debug", "unknown".
std::string_view LevelName(Level level);

} // namespace logtool
