#include "softcard/cardapi/library_log.h"

#include "softcard/base/text.h"
#include "softcard/system/files.h"
#include "src/log/log_settings.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <system_error>

namespace softcard {
namespace {

constexpr const char* beginning = " ERR; ";
constexpr const char* module = ";         CardAPI; ";
constexpr const char* noMilliseconds = "00000000"; // counted from the start of the library, which is now

std::string TimeField(LogTimeFormat format)
{
    if (format == LogTimeFormat_Millisec) {
        return noMilliseconds;
    }
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::string date = std::ctime(&now); // NOLINT(concurrency-mt-unsafe): as the other lines have it
    date.erase(date.find_last_not_of('\n') + 1);
    return format == LogTimeFormat_DateTimeMillisec ? date + " " + noMilliseconds : date;
}

// A path can have any character in it, and one entry is one line.
std::string OnOneLine(std::string sentence)
{
    std::replace_if(
        sentence.begin(), sentence.end(), [](unsigned char byte) { return byte < ' ' || byte == 0x7F; }, '?');
    return sentence;
}

} // namespace

void LogError(const void* logger, const std::string& sentence)
{
    const auto* settings = static_cast<const LogSettings*>(logger);
    if (settings == nullptr || !settings->logToFile) {
        return;
    }
    const auto path = ToUtf8(settings->logDirectory + settings->logFileName + u".log");
    try {
        if (path) {
            AppendToFile(PathOf(*path),
                         beginning + TimeField(settings->timeFormat) + module + OnOneLine(sentence) + "\r\n");
        }
    } catch (const std::system_error&) {
        return; // there is nowhere else to tell it
    }
}

} // namespace softcard
