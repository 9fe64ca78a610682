// Lines and calls as text in columns, or as JSON.
#pragma once

#include "call_list.h"
#include "log_line.h"

#include <array>
#include <string>

namespace logtool {

struct PrintChoice
{
    bool json = false;
    bool colour = false;
    size_t width =
        0; // of the terminal; longer lines go on below their description. 0: lines are never broken
};

// Each text that it gives ends with a line feed. Bytes that are no UTF-8 become U+FFFD, and control
// characters of a log never reach a terminal.
class Printer
{
public:
    explicit Printer(PrintChoice wanted) : choice(wanted) {}

    std::string Line(const LogLine& line);
    std::string OneCall(const Call& call);

private:
    // A column is as wide as the widest text that has stood in it.
    std::string Pad(size_t column, const std::string& text);

    PrintChoice choice;
    std::array<size_t, 5> columns{};
};

// "12 ms", "3 s" or "-".
std::string DurationText(const Call& call);

// Valid UTF-8 without control characters.
std::string Printable(const std::string& text);

} // namespace logtool
