// Clocks, identifiers and the debugger channel.
#include "src/platform/platform.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>
#include <sys/utsname.h>
#include <syslog.h>
#include <unistd.h>

#include <chrono>

namespace {

constexpr std::string_view dayNames = "SunMonTueWedThuFriSat";
constexpr std::string_view monthNames = "JanFebMarAprMayJunJulAugSepOctNovDec";

// Those that follow write at `end` and return the new end.
char* AppendName(char* end, std::string_view names, int index)
{
    constexpr std::size_t length = 3;
    return std::copy_n(names.data() + length * static_cast<std::size_t>(index), length, end);
}

// A number from 0 to 99. What stands for the tens of one below 10 is given.
char* AppendTwoDigits(char* end, int number, char noTens)
{
    constexpr int ten = 10;
    *end++ = number < ten ? noTens : static_cast<char>('0' + number / ten);
    *end++ = static_cast<char>('0' + number % ten);
    return end;
}

} // namespace

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

// As ctime of the C library does, without its printf, which makes up most of a log line's time.
void Platform::FormatLocalTime(std::time_t time, char (&text)[64])
{
    constexpr int yearZero = 1900;
    constexpr int firstYear = -999;
    constexpr int lastYear = 9999;
    std::tm local{};
    const bool known = localtime_r(&time, &local) != nullptr;
    if (!known || local.tm_year < firstYear - yearZero || local.tm_year > lastYear - yearZero) {
        text[0] = '\0';
        return;
    }
    char* end = AppendName(text, dayNames, local.tm_wday);
    *end++ = ' ';
    end = AppendName(end, monthNames, local.tm_mon);
    *end++ = ' ';
    end = AppendTwoDigits(end, local.tm_mday, ' ');
    *end++ = ' ';
    end = AppendTwoDigits(end, local.tm_hour, '0');
    *end++ = ':';
    end = AppendTwoDigits(end, local.tm_min, '0');
    *end++ = ':';
    end = AppendTwoDigits(end, local.tm_sec, '0');
    *end++ = ' ';
    end = std::to_chars(end, std::end(text), yearZero + local.tm_year).ptr;
    *end++ = '\n';
    *end = '\0';
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
