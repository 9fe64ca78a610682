#pragma once

#include <ctime>

namespace logtool {

// The date and time of the place where the program runs; all zeros for a time that has none.
std::tm LocalTime(std::time_t time);

} // namespace logtool
