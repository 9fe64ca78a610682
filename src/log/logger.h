// The one logging facility of the library: composes each message into one line of fixed form and sends it to
// up to three sinks, the standard output, the debugger channel and the log file.
#pragma once

#include "src/log/log_settings.h"
#include "src/platform/log_system.h"
#include "src/platform/mutex.h"
#include "src/platform/regular_file.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

// Sizes of the buffers of one log statement, terminators included.
inline constexpr std::size_t logMessageSize = 3840;
inline constexpr std::size_t logFunctionSize = 64;

// The path of the current file, which is asked for with each line and made when the settings name another one.
class CurrentLogPath
{
public:
    const std::filesystem::path& Of(const LogSettings& settings);

private:
    std::u16string directory;
    std::u16string name;
    std::filesystem::path path;
};

class Logger
{
public:
    // The singleton, made at the first call and never destroyed.
    static Logger& Instance();

    explicit Logger(LogSystem chosenSystem = {});
    ~Logger() = default;
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // Whether a statement of this level reaches a sink at all. An error needs a sink and nothing else.
    [[nodiscard]] bool LetsThrough(LogLevel level) const
    {
        const bool anySink = settings.logToConsole || settings.logToDebugger || settings.logToFile;
        return anySink && (level == LogLevel_Error || settings.logFromLevel >= level);
    }

    // Takes the settings, unless they are null, and begins a log session: retires the current file when that
    // is due, opens it and writes the session's header. A file that is still open from an earlier session is
    // not opened again, and then takes no more lines until it is retired.
    void Initialize(const LogSettings* chosen) EXCLUDES(lineLock);

    // Writes one line, without a test of level or sink. `message` may hold a verbose text behind "VERB:"; on
    // return it holds only the description before it. What goes wrong with the files is not told of.
    void Emit(LogLevel level, char* message, const char* function) EXCLUDES(lineLock);

    // Sends a text to the sinks as it stands.
    void WriteRaw(const char* text) EXCLUDES(lineLock);

    // Both retire the current file when it is over its limit; the second looks at its size too. True when it
    // was, and a new file has been begun with a header.
    bool CheckRotationBySize() EXCLUDES(lineLock);
    bool CheckRotationByAge() EXCLUDES(lineLock);

    // Takes the time from which the current file's age counts out of the first header in it, unless that is
    // known. A header that begins behind the first 16 MiB counts as none.
    void ReadLogStartTime(const std::filesystem::path& path) EXCLUDES(lineLock);

    // Retires the file that is current and moves the retired ones up by one number. Those whose number passes
    // `fileCount` are deleted. The mask is that of the log files in the directory.
    void RotateLogFiles(const std::u16string& searchMask, const std::u16string& directory) const;

    // Calendar time in seconds from which the current file's age counts; 0 when it isn't known.
    [[nodiscard]] int64_t LastRotationTime() const EXCLUDES(lineLock)
    {
        const MutexLock guard(lineLock);
        return lastRotationTime;
    }

    // Gives back the memory of what the next line would make anew, unless a line is being written.
    void ReleaseMemory() EXCLUDES(lineLock);

    // Turns the console sink on or off.
    void SetConsole(bool enabled);

    [[nodiscard]] const LogSettings& Settings() const { return settings; }
    LogSettings& Settings() { return settings; }

private:
    void Send(const char* text) REQUIRES(lineLock);
    void CheckRotation() REQUIRES(lineLock);
    bool RotateBySize() REQUIRES(lineLock);
    bool RotateByAge() REQUIRES(lineLock);
    void FindFileStart(const std::filesystem::path& path) REQUIRES(lineLock);
    void Rotate() REQUIRES(lineLock);
    void RetireFiles() const;
    bool BeginFile() REQUIRES(lineLock);
    void OpenCurrentFile() REQUIRES(lineLock);
    const std::filesystem::path& CurrentPath() REQUIRES(lineLock);

    // First, so that the address of the Logger is that of the settings. Read by every statement, without the lock.
    LogSettings settings;
    mutable Mutex lineLock; // held while a line goes to the sinks
    AppendedFile currentFile GUARDED_BY(lineLock);
    CurrentLogPath currentPath GUARDED_BY(lineLock);
    int64_t startTime; // steady clock, nanoseconds
    int64_t lastRotationTime GUARDED_BY(lineLock) = 0;
    bool rotating GUARDED_BY(lineLock) = false;
    const LogSystem system;
};

// Prints at most `size` - 1 characters and a terminator. Returns the number of characters that the whole text
// needs, or -1 when it cannot be printed.
[[gnu::format(printf, 3, 4)]] int FormatInto(char* buffer, std::size_t size, const char* format, ...);

// Appends the thread field, "ThID: 0x" and the thread's identifier in hexadecimal, to the text in
// `destination`, which is left with at most `maxLength` characters.
void FormatThreadId(char* destination, std::size_t maxLength);

// Composes and writes one statement, with "?" for each control character but tabs. Call it through LOG_LINE, which tests
// first.
[[gnu::format(printf, 3, 4)]] void WriteLogLine(LogLevel level, const char* function, const char* format,
                                                ...);

// One log statement. The arguments are only evaluated when the line is let through.
#define LOG_LINE(level, function, ...)                                                                       \
    do {                                                                                                     \
        if (Logger::Instance().LetsThrough(level)) {                                                         \
            WriteLogLine(level, function, __VA_ARGS__);                                                      \
        }                                                                                                    \
    } while (false)
