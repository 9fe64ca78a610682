// The names of the log files: the current one is STEM.log, and the retired ones are STEM_1.log, the youngest,
// STEM_2.log and on.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The text before the first point; empty when there is no point.
std::u16string_view FileNameStem(std::u16string_view name);

// Whether the stem ends in "_" and digits, or in "_" alone.
bool HasNumberSuffix(std::u16string_view stem);

// The number behind the last "_" of the stem, 0 for a stem without a number. One that is too large for 32
// bits counts as the largest.
int32_t LogFileNumber(std::u16string_view stem);

// Orders names of log files by their numbers alone: two with one number are equal.
struct CompareLogFileNames
{
    bool operator()(std::u16string_view first, std::u16string_view second) const;
};

// What a log file of this name is called once it has been retired once more, and the number in that name. The
// name has a point; what stands behind its last one is replaced by "log".
struct RetiredName
{
    std::u16string name;
    int64_t number;
};
RetiredName NextRetiredName(std::u16string_view name);
