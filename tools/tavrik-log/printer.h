// Lines and calls as text in columns, or as JSON.
#pragma once

#include "tools/tavrik-log/call_list.h"
#include "tools/tavrik-log/log_line.h"

#include <array>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace logtool {

class JsonObject;

struct PrintChoice
{
    bool json = false;
    bool colour = false;
    size_t width =
        0; // of the terminal; longer lines go on below their description. 0: lines are never broken
    bool terminal = false; // the output is one
};

// Each text that it gives ends with a line feed and is valid until the next one. Bytes that are no UTF-8 become
// U+FFFD. Characters of a log that command a terminal never reach one.
class Printer
{
public:
    explicit Printer(PrintChoice wanted) : choice(wanted) {}

    const std::string& Line(const LogLine& line);
    const std::string& OneCall(const Call& call);

private:
    void PutFramed(const LogLine& line);
    void PutUnframed(const LogLine& line);
    void PutCall(const Call& call);
    void PutJson(const LogLine& line);
    void PutJson(const Call& call);
    void PutJsonTime(JsonObject& json, const LineTime& time);

    void Put(std::string_view text);
    void PutColumn(size_t column, std::string_view text);

    // Blanks behind what stands in the column since `begin`. A column is as wide as the widest text that has
    // stood in it; a text longer than any line of the library does not count. One that never had a text takes
    // no room.
    void EndColumn(size_t column, size_t begin);

    // What stands behind `begin` in the text goes on below `indent` columns where the terminal ends.
    void Break(size_t begin, size_t indent);

    const std::string& Iso(std::time_t time);

    PrintChoice choice;
    std::array<size_t, 5> columns{};
    std::string output;
    std::optional<std::time_t> isoTime; // the one that `isoText` is of
    std::string isoText;
};

// "12 ms", "3 s" or "-".
std::string DurationText(const Call& call);

// Valid UTF-8 without control characters; for a terminal, without anything that commands it.
std::string Printable(std::string_view text, bool forTerminal);

} // namespace logtool
