// What stands in the place of the system in the unit tests.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What the steady clock reads, in nanoseconds; nothing lets the real clock through.
extern std::optional<int64_t> steadyClockReading;

struct SystemLogEntry
{
    int priority;
    std::string text;
};

// What went to the system log instead of there.
extern std::vector<SystemLogEntry> systemLog;
