#include "tests/faults/descriptors.h"

#include <sys/resource.h>

#include <cstdlib>

namespace faults {
namespace {

rlim_t FirstLimit()
{
    static const rlim_t first = [] {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        return limit.rlim_cur;
    }();
    return first;
}

void Set(rlim_t count)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = count;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        std::abort(); // nobody refuses a limit that the process had or that is below
    }
}

} // namespace

void LimitDescriptors()
{
    static_cast<void>(FirstLimit());
    Set(0); // those that are open stay so
}

void ReleaseDescriptors()
{
    Set(FirstLimit());
}

} // namespace faults
