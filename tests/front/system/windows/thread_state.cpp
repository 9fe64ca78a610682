#include "tests/front/system/thread_state.h"

#include <windows.h>

namespace front_test {
namespace {

// In units of 100 ns; 0 for a thread that has ended.
uint64_t ProcessorTime(HANDLE thread)
{
    FILETIME begin{};
    FILETIME end{};
    FILETIME kernel{};
    FILETIME user{};
    if (GetThreadTimes(thread, &begin, &end, &kernel, &user) == FALSE) {
        return 0;
    }
    const auto number = [](const FILETIME& time) {
        return (static_cast<uint64_t>(time.dwHighDateTime) << 32U) | time.dwLowDateTime;
    };
    return number(kernel) + number(user);
}

} // namespace

uint32_t OwnThread()
{
    return GetCurrentThreadId();
}

// Windows tells no state of a thread. One that has taken no processor time for a moment may wait; the time is counted in
// units of up to 16 ms, so that only several looks tell.
bool Sleeps(uint32_t thread)
{
    constexpr DWORD aMoment = 3; // ms
    auto* const handle = OpenThread(THREAD_QUERY_INFORMATION, FALSE, thread);
    if (handle == nullptr) {
        return false;
    }
    const uint64_t before = ProcessorTime(handle);
    Sleep(aMoment);
    const bool sleeps = ProcessorTime(handle) == before;
    CloseHandle(handle);
    return sleeps;
}

} // namespace front_test
