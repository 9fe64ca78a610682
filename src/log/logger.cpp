#include "src/log/logger.h"

#include "src/log/bounded_text.h"
#include "src/platform/never_destroyed.h"
#include "src/platform/platform.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string_view>
#include <utility>

namespace {

constexpr std::string_view moduleField = "     pkcs11_x64"; // 15 characters
static_assert(moduleField.size() == 15);
constexpr char verboseMarker[] = "VERB:";
constexpr std::size_t lineSize = 4096;
constexpr std::size_t lineLimit = 4093; // of everything before the line end
constexpr std::size_t tailSize = 3584;
constexpr std::size_t tailLimit = 3581;
constexpr int64_t nanosecondsPerMillisecond = 1000000;

std::string_view LevelText(LogLevel level)
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

// Without the newline.
void AppendDateTime(BoundedText& text, std::time_t now)
{
    char dateTime[64] = {};
    Platform::FormatLocalTime(now, dateTime);
    const std::string_view line = dateTime;
    text.Append(line.substr(0, line.empty() ? 0 : line.size() - 1));
}

// As "%08lld" of the C library shows it.
void AppendCounter(BoundedText& text, int64_t milliseconds)
{
    constexpr std::string_view zeros = "00000000";
    char buffer[24] = {};
    const auto* end = std::to_chars(std::begin(buffer), std::end(buffer), milliseconds).ptr;
    const std::string_view number(buffer, static_cast<std::size_t>(end - buffer));
    const std::size_t sign = number.starts_with('-') ? 1 : 0;
    text.Append(number.substr(0, sign));
    text.Append(zeros.substr(std::min(zeros.size(), number.size())));
    text.Append(number.substr(sign));
}

void AppendTimeField(BoundedText& text, LogTimeFormat format, std::time_t now, int64_t milliseconds)
{
    switch (format) {
    case LogTimeFormat_DateTime:
        AppendDateTime(text, now);
        break;
    case LogTimeFormat_DateTimeMillisec:
        AppendDateTime(text, now);
        text.Append(" ");
        AppendCounter(text, milliseconds);
        break;
    case LogTimeFormat_Millisec:
        AppendCounter(text, milliseconds);
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

void AppendThreadId(BoundedText& text)
{
    constexpr int hexadecimal = 16;
    char digits[16] = {};
    const auto* end =
        std::to_chars(std::begin(digits), std::end(digits), Platform::ThreadId(), hexadecimal).ptr;
    text.Append("ThID: 0x");
    text.Append({digits, static_cast<std::size_t>(end - digits)});
}

void AppendVerboseTail(BoundedText& line, const char* function, const char* verbose)
{
    char buffer[tailSize];
    BoundedText tail(buffer, tailLimit);
    tail.Append("; ");
    AppendThreadId(tail);
    tail.Append("; ");
    tail.Append(verboseMarker);
    tail.Append(" ");
    tail.Append(function);
    if (verbose != nullptr) {
        tail.Append(";  ");
        tail.Append(verbose);
    }
    line.Append(tail.Text());
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
    char buffer[lineSize];
    BoundedText line(buffer, lineLimit);
    line.Append(LevelText(level));
    line.Append("; ");
    const auto elapsed = system.steadyClockNanoseconds() - startTime;
    AppendTimeField(line, settings.timeFormat, system.calendarTime(), elapsed / nanosecondsPerMillisecond);
    line.Append("; ");
    line.Append(moduleField);
    line.Append("; ");

    const char* verbose = SplitOffVerboseText(message);
    line.Append(message);
    if (settings.extensive) {
        AppendVerboseTail(line, function, verbose);
    }
    line.RaiseLimit(lineSize - 1);
    line.Append("\r\n");

    WriteRaw(buffer);
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
    const auto used = std::strlen(destination);
    if (used < maxLength) {
        BoundedText text(destination + used, maxLength - used);
        AppendThreadId(text);
    }
}

void WriteLogLine(LogLevel level, const char* function, const char* format, ...)
{
    char message[logMessageSize] = {};
    char functionName[logFunctionSize] = {};
    BoundedText(functionName, sizeof(functionName) - 2).Append(function);

    std::va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vsnprintf(message, sizeof(message), format, arguments));
    va_end(arguments);
    KeepOnOneLine(message);

    Logger::Instance().Emit(level, message, functionName);
}
