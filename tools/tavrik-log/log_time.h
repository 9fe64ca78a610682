// The times in a log and on the command line. All are local times.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace logtool {

// What the time field of a line says. Each part is there when the field has it.
struct LineTime
{
    std::string text;                // the field as it stands
    std::optional<std::time_t> date; // whole seconds
    std::optional<uint64_t> counter; // milliseconds since the process first called the library
};

// Reads time fields. A date costs little when the one before it was of the same minute.
class TimeReader
{
public:
    // False when the text is none of the forms of the field; `time` is then undefined. An empty field is one
    // of them.
    bool Read(std::string_view field, LineTime& time);

private:
    std::optional<std::time_t> ReadDate(std::string_view text);

    std::string minute; // the date that was read last, with its seconds as 00
    std::time_t minuteBegin = 0;
};

// Nothing when the text is none of the forms of the field.
std::optional<LineTime> ParseTimeField(std::string_view field);

// The time in a session header's "DateTime: " line, wherever the mark stands in it; nothing for other lines.
std::optional<std::time_t> ParseHeaderTime(std::string_view line);

// "2026-11-12 12:10:02", "2026-11-12", a time of today ("12:10", "12:10:02"), or how long before now ("30s",
// "10m", "2h", "3d"). Nothing when the text is none of these.
std::optional<std::time_t> ParseTimeArgument(const std::string& text, std::time_t now);

// "2026-11-12T12:10:02"
std::string IsoTime(std::time_t time);

} // namespace logtool
