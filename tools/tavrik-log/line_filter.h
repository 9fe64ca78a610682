// Which lines are shown.
#pragma once

#include "tools/tavrik-log/log_line.h"

#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace logtool {

struct FilterChoice
{
    std::optional<Level> level;         // this one and all that are more severe
    std::vector<std::string> functions; // names or patterns with * and ?; empty for all
    std::optional<std::time_t> since;
    std::optional<std::time_t> until;
};

class LineFilter
{
public:
    explicit LineFilter(FilterChoice wanted) : choice(std::move(wanted)) {}

    // Give it every line, in order: it notes the session headers. Lines without a frame are shown only when
    // nothing is filtered. A line without a date is hidden only when its session began after `until`.
    bool Shows(int file, const LogLine& line);

    // As Shows, but by time alone or by function alone.
    bool ShowsTime(int file, const LogLine& line);
    [[nodiscard]] bool ShowsFunction(const std::string& function) const;

    // What could not be decided, in one sentence each, for the person.
    [[nodiscard]] std::vector<std::string> Notes() const;

private:
    FilterChoice choice;
    std::map<int, std::time_t> sessionBegin; // of the last header in each file
    bool sawUndated = false;
    bool sawWithoutFunction = false;
};

} // namespace logtool
