#include "tools/tavrik-log/system/local_time.h"

namespace logtool {

std::tm LocalTime(std::time_t time)
{
    std::tm record{};
    localtime_r(&time, &record);
    return record;
}

} // namespace logtool
