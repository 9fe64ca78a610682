#include "platform/system_double.h"

#include <cstdarg>
#include <cstdio>

std::optional<int64_t> steadyClockReading;
std::vector<SystemLogEntry> systemLog;

namespace {

void AppendEntry(int priority, const char* format, std::va_list arguments)
{
    char text[8192] = {};
    static_cast<void>(std::vsnprintf(text, sizeof(text), format, arguments));
    systemLog.push_back({priority, text});
}

} // namespace

extern "C" {

// The linker puts these in the place of the functions they are named after.
int64_t __real__ZN8Platform22SteadyClockNanosecondsEv();
int64_t __wrap__ZN8Platform22SteadyClockNanosecondsEv();
[[gnu::format(printf, 2, 3)]] void __wrap_syslog(int priority, const char* format, ...);
[[gnu::format(printf, 3, 4)]] void __wrap___syslog_chk(int priority, int flag, const char* format, ...);

int64_t __wrap__ZN8Platform22SteadyClockNanosecondsEv()
{
    return steadyClockReading.has_value() ? *steadyClockReading
                                          : __real__ZN8Platform22SteadyClockNanosecondsEv();
}

void __wrap_syslog(int priority, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    AppendEntry(priority, format, arguments);
    va_end(arguments);
}

void __wrap___syslog_chk(int priority, int, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    AppendEntry(priority, format, arguments);
    va_end(arguments);
}
}
