// Clocks, identifiers and the debugger channel.
#include "platform/platform.h"

#include <cstring>
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
