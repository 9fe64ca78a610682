// Pairs the entering and leaving lines of the library's functions.
#pragma once

#include "tools/tavrik-log/log_line.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace logtool {

enum class Unit
{
    none,
    milliseconds,
    seconds
};

struct Call
{
    LogLine entering;
    std::string result; // "a0 CKR_PIN_INCORRECT"; empty when there is no leaving line
    Unit unit = Unit::none;
    uint64_t duration = 0; // in that unit
    bool shown = true;     // what was said of the entering line
};

class CallList
{
public:
    // The calls of which this line tells the end. A thread that enters a function has left those that it
    // entered before: exported functions never call each other, and some leave without a line. A leaving line
    // without an entering line, as the functions below the exported ones write, ends no call.
    std::vector<Call> Take(bool shown, const LogLine& line);

    // The calls that are still open, in the order in which they began.
    std::vector<Call> TakeOpen();

    // Whether a line named no function, so that it could not be paired.
    [[nodiscard]] bool SawUnnamed() const { return sawUnnamed; }

private:
    struct OpenCall
    {
        Call call;
        uint64_t number;
    };

    std::map<std::string, OpenCall> openCalls; // by thread
    uint64_t nextNumber = 0;
    bool sawUnnamed = false;
};

} // namespace logtool
