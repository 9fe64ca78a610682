#include "tools/tavrik-log/log_time.h"

#include "tools/tavrik-log/system/local_time.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace logtool {
namespace {

constexpr size_t dateLength = 24;  // of "Thu Nov 12 12:10:02 2026"
constexpr size_t secondPlace = 17; // of the seconds' two digits in it
constexpr size_t secondEnd = 19;
constexpr size_t longestNumber = 19;
constexpr std::string_view headerMark = "DateTime: ";
constexpr std::string_view lineForm = "a b d H:M:S Y";
constexpr std::array<std::string_view, 7> days = {"sun", "mon", "tue", "wed", "thu", "fri", "sat"};
constexpr std::array<std::string_view, 12> months = {"jan", "feb", "mar", "apr", "may", "jun",
                                                     "jul", "aug", "sep", "oct", "nov", "dec"};

std::optional<uint64_t> ParseNumber(std::string_view text)
{
    uint64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = result.ec == std::errc() && result.ptr == text.data() + text.size();
    return whole && text.size() <= longestNumber ? std::optional(number) : std::nullopt;
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

void SkipBlanks(std::string_view& text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
}

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Takes one of the names, in either case, off the begin of a text.
template <size_t count>
bool TakeName(std::string_view& text, const std::array<std::string_view, count>& names, int& number)
{
    for (size_t index = 0; index < count; ++index) {
        const std::string_view name = names[index];
        if (text.size() >= name.size() && std::equal(name.begin(), name.end(), text.begin(),
                                                     [](char a, char b) { return a == Lower(b); })) {
            text.remove_prefix(name.size());
            number = static_cast<int>(index);
            return true;
        }
    }
    return false;
}

// Takes a number of so many digits at most, with blanks in front, off the begin of a text.
bool TakeNumber(std::string_view& text, size_t mostDigits, int least, int most, int& number)
{
    SkipBlanks(text);
    size_t digits = 0;
    number = 0;
    for (; digits < mostDigits && digits < text.size() && IsDigit(text[digits]); ++digits) {
        number = number * 10 + (text[digits] - '0');
    }
    text.remove_prefix(digits);
    return digits > 0 && number >= least && number <= most;
}

// One letter of a form, which stands for a part of a date; a blank for any number of them, and any other character for itself.
bool TakePart(std::string_view& text, char part, std::tm& record)
{
    constexpr int firstYear = 1900;
    constexpr int lastYear = 9999;
    int number = 0;
    bool taken = false;
    switch (part) {
    case 'a':
        return TakeName(text, days, number); // the date itself says which day it is
    case 'b':
        return TakeName(text, months, record.tm_mon);
    case 'd':
        return TakeNumber(text, 2, 1, 31, record.tm_mday);
    case 'H':
        return TakeNumber(text, 2, 0, 23, record.tm_hour);
    case 'M':
        return TakeNumber(text, 2, 0, 59, record.tm_min);
    case 'S':
        return TakeNumber(text, 2, 0, 60, record.tm_sec);
    case 'm':
        taken = TakeNumber(text, 2, 1, 12, number);
        record.tm_mon = number - 1;
        return taken;
    case 'Y':
        taken = TakeNumber(text, 4, firstYear, lastYear, number);
        record.tm_year = number - firstYear;
        return taken;
    case ' ':
        SkipBlanks(text);
        return true;
    default:
        taken = text.starts_with(part);
        text.remove_prefix(taken ? 1 : 0);
        return taken;
    }
}

// The whole text must have the form. Fields that the form lacks stay as they are in `record`.
std::optional<std::time_t> ParseDate(std::string_view text, std::string_view form, std::tm record)
{
    const bool has = std::all_of(form.begin(), form.end(),
                                 [&text, &record](char part) { return TakePart(text, part, record); });
    if (!has || !text.empty()) {
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
        const bool digit = IsDigit(c);
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
    const auto time = ParseDate(text, lineForm, {});
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
    return ParseDate(line.substr(mark + headerMark.size()), "Y-m-d H:M:S", {});
}

std::optional<std::time_t> ParseTimeArgument(const std::string& text, std::time_t now)
{
    for (const char* form : {"Y-m-d H:M:S", "Y-m-dTH:M:S", "Y-m-d H:M", "Y-m-d"}) {
        if (const auto time = ParseDate(text, form, {})) {
            return time;
        }
    }
    std::tm today = LocalTime(now);
    today.tm_sec = 0;
    for (const char* form : {"H:M:S", "H:M"}) {
        if (const auto time = ParseDate(text, form, today)) {
            return time;
        }
    }
    return ParseAge(text, now);
}

std::string IsoTime(std::time_t time)
{
    const std::tm record = LocalTime(time);
    std::array<char, 32> text{};
    const size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &record);
    return {text.data(), length};
}

} // namespace logtool
