// What stands in the place of the system in the unit tests.
#pragma once

#include "src/platform/platform.h"

#include <cstdint>
#include <functional>
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

// The version of the system; nothing lets the real one through.
extern std::optional<OsVersion> osVersion;

// What is done instead of running a command; nothing lets the command run.
extern std::function<void(const std::string& commandLine, std::string& output)> commandInstead;
