#include "tests/front/system/thread_state.h"

#include <fstream>
#include <string>

#include <unistd.h>

namespace front_test {

uint32_t OwnThread()
{
    return static_cast<uint32_t>(gettid());
}

// By the state in the third field of the thread's line in /proc; its name, the second, is in brackets.
bool Sleeps(uint32_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string line;
    std::getline(file, line);
    const auto name = line.rfind(')');
    return name != std::string::npos && line.compare(name, 3, ") S") == 0;
}

} // namespace front_test
