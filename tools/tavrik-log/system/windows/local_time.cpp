#include "tools/tavrik-log/system/local_time.h"

namespace logtool {

std::tm LocalTime(std::time_t time)
{
    std::tm record{};
    return localtime_s(&record, &time) == 0 ? record : std::tm{};
}

} // namespace logtool
