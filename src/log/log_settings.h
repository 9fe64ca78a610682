// What can be set about the log.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

// A higher value is more talkative.
enum LogLevel : uint8_t
{
    LogLevel_Error = 0,
    LogLevel_Warning = 1,
    LogLevel_Info = 2,
    LogLevel_Debug = 3
};

// What the time field of a line shows.
enum LogTimeFormat : uint8_t
{
    LogTimeFormat_DateTime = 0,
    LogTimeFormat_DateTimeMillisec = 1,
    LogTimeFormat_Millisec = 2
};

// One byte that threads read and write without a lock. Copyable, and laid out as the plain byte it stands
// for, since the card-access library sees it as one.
template <typename Value>
class SharedByte
{
public:
    SharedByte(Value value = Value()) : byte(value) {} // NOLINT: converts as the plain value would
    SharedByte(const SharedByte& other) : byte(other.Load()) {}
    ~SharedByte() = default;
    SharedByte&
    operator=(const SharedByte& other) // NOLINT(bugprone-unhandled-self-assignment,cert-oop54-cpp)
    {
        byte.store(other.Load(), std::memory_order_relaxed);
        return *this;
    }
    operator Value() const { return Load(); } // NOLINT: reads as the plain value would

private:
    [[nodiscard]] Value Load() const { return byte.load(std::memory_order_relaxed); }

    std::atomic<Value> byte;
    static_assert(sizeof(std::atomic<Value>) == 1);
};

// The order and the widths of the fields are a contract: the card-access library is handed the address of
// this record and reads it. The defaults are those in force until the library's start has set its own.
struct LogSettings
{
    SharedByte<bool> logToConsole = false;
    SharedByte<bool> logToDebugger = false;
    SharedByte<bool> logToFile = true;
    SharedByte<LogLevel> logFromLevel = LogLevel_Info; // the most talkative level that is let through
    SharedByte<bool> extensive = false;                // thread, function and verbose text in each line
    uint8_t reserved5 = 0;
    SharedByte<LogTimeFormat> timeFormat = LogTimeFormat_DateTime;
    uint8_t reserved7[6] = {};
    uint8_t fileCount = 1;                           // rotated files that are kept
    std::u16string logDirectory = u"./";             // with its trailing separator
    std::u16string logFileName = u"CardAPI_default"; // stem of the current file's name
    uint8_t rotationMode = 3;
    uint64_t maxFileSize = 2097152; // bytes
    uint64_t maxFileAgeDays = 7;
};
