#include "tests/unit/platform/system_double.h"

#include <cstdarg>
#include <cstdio>

std::optional<int64_t> steadyClockReading;
std::vector<SystemLogEntry> systemLog;
std::optional<OsVersion> osVersion;
std::function<void(const std::string&, std::string&)> commandInstead;

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

// As above, for functions whose types are no types of C.
OsVersion RealOsVersion() __asm__("__real__ZN8Platform16GetOsVersionInfoEv");
OsVersion WrappedOsVersion() __asm__("__wrap__ZN8Platform16GetOsVersionInfoEv");
void RealCommand(const char* commandLine, std::string& output) __asm__(
    "__real__ZN8Platform23RunCommandCaptureOutputEPKcRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
void WrappedCommand(const char* commandLine, std::string& output) __asm__(
    "__wrap__ZN8Platform23RunCommandCaptureOutputEPKcRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");

OsVersion WrappedOsVersion()
{
    return osVersion.has_value() ? *osVersion : RealOsVersion();
}

void WrappedCommand(const char* commandLine, std::string& output)
{
    if (commandInstead) {
        commandInstead(commandLine, output);
    } else {
        RealCommand(commandLine, output);
    }
}
