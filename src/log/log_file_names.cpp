#include "src/log/log_file_names.h"

#include <algorithm>
#include <limits>

namespace {

bool IsDigit(char16_t character)
{
    return character >= u'0' && character <= u'9';
}

std::u16string DecimalText(int64_t number)
{
    const std::string text = std::to_string(number);
    return {text.begin(), text.end()};
}

} // namespace

std::u16string_view FileNameStem(std::u16string_view name)
{
    const auto point = name.find(u'.');
    return point == std::u16string_view::npos ? std::u16string_view() : name.substr(0, point);
}

bool HasNumberSuffix(std::u16string_view stem)
{
    const auto end = std::find_if_not(stem.rbegin(), stem.rend(), IsDigit);
    return end != stem.rend() && *end == u'_';
}

int32_t LogFileNumber(std::u16string_view stem)
{
    if (!HasNumberSuffix(stem)) {
        return 0;
    }
    constexpr int64_t largest = std::numeric_limits<int32_t>::max();
    int64_t number = 0;
    for (const char16_t digit : stem.substr(stem.rfind(u'_') + 1)) {
        number = std::min(10 * number + (digit - u'0'), largest);
    }
    return static_cast<int32_t>(number);
}

bool CompareLogFileNames::operator()(std::u16string_view first, std::u16string_view second) const
{
    return LogFileNumber(FileNameStem(first)) < LogFileNumber(FileNameStem(second));
}

RetiredName NextRetiredName(std::u16string_view name)
{
    // Up to the last point, where FileNameStem ends at the first: the order and the new name see a name with
    // several points differently.
    const auto stem = name.substr(0, name.rfind(u'.'));
    const auto base = HasNumberSuffix(stem) ? stem.substr(0, stem.rfind(u'_')) : stem;
    const int64_t number = int64_t{LogFileNumber(stem)} + 1;
    std::u16string retired(base);
    retired.append(u"_").append(DecimalText(number)).append(u".log");
    return {retired, number};
}
