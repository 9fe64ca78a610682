#include "src/log/logger.h"

#include "src/platform/never_destroyed.h"
#include "src/platform/platform.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

namespace {

constexpr char moduleName[] = "pkcs11_x64";
constexpr int moduleFieldWidth = 15;
constexpr char verboseMarker[] = "VERB:";
constexpr std::size_t lineSize = 4096;
constexpr std::size_t lineLimit = 4093; // of everything before the line end
constexpr std::size_t tailSize = 3584;
constexpr std::size_t tailLimit = 3581;
constexpr int64_t nanosecondsPerMillisecond = 1000000;

// Appends `text` to the text in `buffer` as far as it fits into `limit` characters.
void AppendBounded(char* buffer, std::size_t limit, const char* text)
{
    const auto used = std::strlen(buffer);
    if (used < limit) {
        std::strncat(buffer, text, limit - used);
    }
}

const char* LevelText(LogLevel level)
{
    switch (level) {
    case LogLevel_Error:
        return " ERR";
    case LogLevel_Warning:
        return "WARN";
    case LogLevel_Info:
        return "INFO";
    case LogLevel_Debug:
        return " DBG";
    }
    return "Unknown";
}

void FormatDateTime(char (&text)[64], std::time_t now)
{
    Platform::FormatLocalTime(now, text);
    const auto length = std::strlen(text);
    if (length > 0) {
        text[length - 1] = '\0';
    }
}

void FormatTimeField(char (&field)[64], LogTimeFormat format, std::time_t now, int64_t milliseconds)
{
    char dateTime[64] = {};
    FormatDateTime(dateTime, now);
    const auto counter = static_cast<long long>(milliseconds);
    switch (format) {
    case LogTimeFormat_DateTime:
        FormatInto(field, sizeof(field), "%s", dateTime);
        break;
    case LogTimeFormat_DateTimeMillisec:
        FormatInto(field, sizeof(field), "%s %08lld", dateTime, counter);
        break;
    case LogTimeFormat_Millisec:
        FormatInto(field, sizeof(field), "%08lld", counter);
        break;
    default:
        break;
    }
}

// Ends the message before the blank that precedes the first marker and returns the text behind the marker, or
// null when there is no marker.
const char* SplitOffVerboseText(char* message)
{
    char* marker = std::strstr(message, verboseMarker);
    if (marker == nullptr) {
        return nullptr;
    }
    if (marker != message) {
        marker[-1] = '\0';
    }
    return marker + std::strlen(verboseMarker);
}

// What cards, files and applications are called may be in a message, and makes no second line of it, nor does it
// command a terminal. A tab does neither and stands.
void KeepOnOneLine(char (&message)[logMessageSize])
{
    constexpr unsigned char firstPrintable = ' ';
    constexpr unsigned char deleteCharacter = 0x7F;
    std::replace_if(
        message, message + std::strlen(message),
        [](unsigned char byte) { return (byte < firstPrintable && byte != '\t') || byte == deleteCharacter; },
        '?');
}

void AppendVerboseTail(char (&line)[lineSize], const char* function, const char* verbose)
{
    char tail[tailSize] = {};
    AppendBounded(tail, tailLimit, "; ");
    FormatThreadId(tail, tailLimit);
    AppendBounded(tail, tailLimit, "; ");
    AppendBounded(tail, tailLimit, verboseMarker);
    AppendBounded(tail, tailLimit, " ");
    AppendBounded(tail, tailLimit, function);
    if (verbose != nullptr) {
        AppendBounded(tail, tailLimit, "; ");
        AppendBounded(tail, tailLimit, " ");
        AppendBounded(tail, tailLimit, verbose);
    }
    AppendBounded(line, lineLimit, tail);
}

} // namespace

Logger& Logger::Instance()
{
    static NeverDestroyed<Logger> instance;
    return instance.Get();
}

Logger::Logger(LogSystem chosenSystem)
    : startTime(chosenSystem.steadyClockNanoseconds()), system(std::move(chosenSystem))
{
}

void Logger::Emit(LogLevel level, char* message, const char* function)
{
    char line[lineSize] = {};
    AppendBounded(line, lineLimit, LevelText(level));
    AppendBounded(line, lineLimit, "; ");

    char timeField[64] = {};
    const auto elapsed = system.steadyClockNanoseconds() - startTime;
    FormatTimeField(timeField, settings.timeFormat, system.calendarTime(),
                    elapsed / nanosecondsPerMillisecond);
    AppendBounded(line, lineLimit, timeField);
    AppendBounded(line, lineLimit, "; ");

    char moduleField[moduleFieldWidth + 1] = {};
    FormatInto(moduleField, sizeof(moduleField), "%*s", moduleFieldWidth, moduleName);
    AppendBounded(line, lineLimit, moduleField);
    AppendBounded(line, lineLimit, "; ");

    const char* verbose = SplitOffVerboseText(message);
    AppendBounded(line, lineLimit, message);
    if (settings.extensive) {
        AppendVerboseTail(line, function, verbose);
    }
    AppendBounded(line, lineSize - 1, "\r\n");

    WriteRaw(line);
}

void Logger::SetConsole(bool enabled)
{
    settings.logToConsole = enabled;
}

void Logger::WriteRaw(const char* text)
{
    const MutexLock guard(lineLock);
    Send(text);
}

void Logger::Send(const char* text)
{
    if (settings.logToConsole) {
        std::printf("%s", text);
    }
    if (settings.logToDebugger) {
        system.writeToDebugger(text);
    }
    if (settings.logToFile) {
        currentFile.Write(text);
        CheckRotation();
    }
}

int FormatInto(char* buffer, std::size_t size, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length < 0 ? -1 : length;
}

void FormatThreadId(char* destination, std::size_t maxLength)
{
    char field[32] = {};
    FormatInto(field, sizeof(field) - 1, "ThID: 0x%x", static_cast<unsigned int>(Platform::ThreadId()));
    AppendBounded(destination, maxLength, field);
}

void WriteLogLine(LogLevel level, const char* function, const char* format, ...)
{
    char message[logMessageSize] = {};
    char functionName[logFunctionSize] = {};
    FormatInto(functionName, sizeof(functionName) - 1, "%s", function);

    std::va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vsnprintf(message, sizeof(message), format, arguments));
    va_end(arguments);
    KeepOnOneLine(message);

    Logger::Instance().Emit(level, message, functionName);
}
