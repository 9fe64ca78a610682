// What the log asks of the system.
#pragma once

#include "src/platform/platform.h"

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>

// The functions are those of the system until others are put in their place, as tests do. None may be empty. They are
// called from any thread, writeToDebugger by one thread at a time.
struct LogSystem
{
    std::function<int64_t()> steadyClockNanoseconds = Platform::SteadyClockNanoseconds;
    std::function<std::time_t()> calendarTime = [] { return std::time(nullptr); };
    std::function<OsVersion()> osVersion = Platform::GetOsVersionInfo;
    std::function<void(const char* commandLine, std::string& output)> runCommand =
        Platform::RunCommandCaptureOutput;
    std::function<void(const char* text)> writeToDebugger = Platform::WriteToDebugger;
};
