// Clocks, identifiers and the debugger channel.
#include "src/platform/platform.h"

#include <charconv>
#include <cstring>
#include <string_view>
#include <sys/utsname.h>
#include <syslog.h>
#include <unistd.h>

#include <chrono>

void Platform::WriteToDebugger(const char* text)
{
    // syslog(3) frames each message itself, so the line end would only show as garbage.
    const auto length = std::strcspn(text, "\r\n");
    syslog(LOG_DEBUG, "%.*s", static_cast<int>(length), text);
}

uint32_t Platform::ThreadId()
{
    return static_cast<uint32_t>(gettid());
}

uint32_t Platform::ProcessId()
{
    return static_cast<uint32_t>(getpid());
}

int64_t Platform::SteadyClockNanoseconds()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void Platform::FormatLocalTime(std::time_t time, char (&text)[64])
{
    if (ctime_r(&time, text) == nullptr) {
        text[0] = '\0';
    }
}

std::tm Platform::LocalTime(std::time_t time)
{
    std::tm local{};
    static_cast<void>(localtime_r(&time, &local));
    return local;
}

// Of a release such as "6.1.0-28-amd64" the three numbers, and what stands behind them as the service pack.
OsVersion Platform::GetOsVersionInfo()
{
    utsname names{};
    OsVersion version;
    if (uname(&names) != 0) {
        return version;
    }
    std::string_view rest = names.release;
    for (int* number : {&version.majorNumber, &version.minorNumber, &version.buildNumber}) {
        const auto* end = std::from_chars(rest.data(), rest.data() + rest.size(), *number).ptr;
        rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
        rest.remove_prefix(!rest.empty() && (rest.front() == '.' || rest.front() == '-') ? 1 : 0);
    }
    version.servicePack = rest;
    return version;
}
