#include "tools/tavrik-card/progress.h"

#include "softcard/system/terminal.h"

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
        thread_ = std::thread([this] { Turn(); });
    }
}

Progress::~Progress()
{
    if (!thread_.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    ended_.notify_one();
    thread_.join();
}

void Progress::Tell(const std::string& step)
{
    const std::lock_guard lock(mutex_);
    step_ = step;
}

void Progress::Turn()
{
    std::unique_lock lock(mutex_);
    for (size_t i = 0; !ending_; i = (i + 1) % wheel.size()) {
        if (!step_.empty()) {
            std::cerr << eraseLine << wheel[i] << ' ' << step_ << std::flush;
        }
        ended_.wait_for(lock, turn, [this] { return ending_; });
    }
    std::cerr << eraseLine << std::flush;
}

} // namespace softcard
