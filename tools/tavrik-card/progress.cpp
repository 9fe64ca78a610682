#include "tools/tavrik-card/progress.h"

#include "tools/tavrik-card/system/terminal.h"

#include <array>
#include <chrono>
#include <iostream>

namespace softcard {
namespace {

constexpr std::chrono::milliseconds turn{120};
constexpr std::array<char, 4> wheel = {'|', '/', '-', '\\'};
constexpr const char* eraseLine = "\r\033[K";

} // namespace

Progress::Progress()
{
    if (ErrorsAreTerminal()) {
        thread = std::thread([this] { Turn(); });
    }
}

Progress::~Progress()
{
    if (!thread.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    ended.notify_one();
    thread.join();
}

void Progress::Tell(const std::string& next)
{
    const std::lock_guard lock(mutex);
    step = next;
}

void Progress::Turn()
{
    std::unique_lock lock(mutex);
    for (size_t i = 0; !ending; i = (i + 1) % wheel.size()) {
        if (!step.empty()) {
            std::cerr << eraseLine << wheel[i] << ' ' << step << std::flush;
        }
        ended.wait_for(lock, turn, [this] { return ending; });
    }
    std::cerr << eraseLine << std::flush;
}

} // namespace softcard
