#include "tools/tavrik-log/log_time.h"

#include <array>
#include <charconv>

namespace logtool {
namespace {

constexpr size_t dateLength = 24;  // of "Thu Nov 12 12:10:02 2026"
constexpr size_t secondPlace = 17; // of the seconds' two digits in it
constexpr size_t secondEnd = 19;
constexpr size_t longestNumber = 19;
constexpr std::string_view headerMark = "DateTime: ";
constexpr const char* lineForm = "%a %b %d %H:%M:%S %Y";

std::optional<uint64_t> ParseNumber(std::string_view text)
{
    uint64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = result.ec == std::errc() && result.ptr == text.data() + text.size();
    return whole && text.size() <= longestNumber ? std::optional(number) : std::nullopt;
}

// The whole text must have the form. Fields that the form lacks stay as they are in `record`.
std::optional<std::time_t> ParseDate(const std::string& text, const char* form, std::tm record)
{
    const char* end = strptime(text.c_str(), form, &record);
    if (end != text.c_str() + text.size()) { // a text of a log can have zeros in it
        return std::nullopt;
    }
    record.tm_isdst = -1;
    const std::time_t time = std::mktime(&record);
    return time == -1 ? std::nullopt : std::optional(time);
}

// The seconds of a date that stands in the form as the library writes it: each part at its place, two digits
// for the seconds. Then a date that differs in these two digits alone differs by as many seconds.
std::optional<int> SecondOf(std::string_view text)
{
    constexpr std::string_view shape =
        "aaa aaa xd dd:dd:dd dddd"; // a letter, d digit, x either digit or blank
    if (text.size() != shape.size()) {
        return std::nullopt;
    }
    for (size_t index = 0; index < shape.size(); ++index) {
        const char c = text[index];
        const bool digit = c >= '0' && c <= '9';
        const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        const char wanted = shape[index];
        if (!(wanted == 'a'   ? letter
              : wanted == 'd' ? digit
              : wanted == 'x' ? digit || c == ' '
                              : c == wanted)) {
            return std::nullopt;
        }
    }
    const int second = (text[secondPlace] - '0') * 10 + (text[secondPlace + 1] - '0');
    return second < 60 ? std::optional(second) : std::nullopt;
}

std::optional<std::time_t> ParseAge(const std::string& text, std::time_t now)
{
    if (text.empty()) {
        return std::nullopt;
    }
    const auto count = ParseNumber(std::string_view(text).substr(0, text.size() - 1));
    const size_t unit = std::string_view("smhd").find(text.back());
    constexpr std::array<std::time_t, 4> unitSeconds = {1, 60, 3600, 86400};
    constexpr uint64_t mostUnits = 1000000;
    if (!count || unit == std::string_view::npos || *count > mostUnits) {
        return std::nullopt;
    }
    return now - static_cast<std::time_t>(*count) * unitSeconds.at(unit);
}

} // namespace

std::optional<std::time_t> TimeReader::ReadDate(std::string_view text)
{
    const auto second = SecondOf(text);
    if (second && minute.size() == dateLength &&
        text.substr(0, secondPlace) == std::string_view(minute).substr(0, secondPlace) &&
        text.substr(secondEnd) == std::string_view(minute).substr(secondEnd)) {
        return minuteBegin + *second == -1 ? std::nullopt : std::optional(minuteBegin + *second);
    }
    const auto time = ParseDate(std::string(text), lineForm, {});
    if (time && second) {
        minute = text;
        minuteBegin = *time - *second;
    }
    return time;
}

bool TimeReader::Read(std::string_view field, LineTime& time)
{
    time.text = field;
    time.date.reset();
    time.counter = ParseNumber(field);
    if (field.empty() || time.counter) {
        return true;
    }
    if (field.size() < dateLength) {
        return false;
    }
    time.date = ReadDate(field.substr(0, dateLength));
    if (!time.date) {
        return false;
    }
    if (field.size() == dateLength) {
        return true;
    }
    time.counter = field[dateLength] == ' ' ? ParseNumber(field.substr(dateLength + 1)) : std::nullopt;
    return time.counter.has_value();
}

std::optional<LineTime> ParseTimeField(std::string_view field)
{
    LineTime time;
    return TimeReader().Read(field, time) ? std::optional(time) : std::nullopt;
}

std::optional<std::time_t> ParseHeaderTime(std::string_view line)
{
    const size_t mark = line.find(headerMark);
    if (mark == std::string_view::npos) {
        return std::nullopt;
    }
    return ParseDate(std::string(line.substr(mark + headerMark.size())), "%Y-%m-%d %H:%M:%S", {});
}

std::optional<std::time_t> ParseTimeArgument(const std::string& text, std::time_t now)
{
    for (const char* form : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%d"}) {
        if (const auto time = ParseDate(text, form, {})) {
            return time;
        }
    }
    std::tm today{};
    localtime_r(&now, &today);
    today.tm_sec = 0;
    for (const char* form : {"%H:%M:%S", "%H:%M"}) {
        if (const auto time = ParseDate(text, form, today)) {
            return time;
        }
    }
    return ParseAge(text, now);
}

std::string IsoTime(std::time_t time)
{
    std::tm record{};
    localtime_r(&time, &record);
    std::array<char, 32> text{};
    const size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &record);
    return {text.data(), length};
}

} // namespace logtool
