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
        const MutexLock lock(mutex);
        ending = true;
    }
    changed.notify_one();
    thread.join();
}

void Progress::Tell(const std::string& next)
{
    {
        const MutexLock lock(mutex);
        step = next;
    }
    changed.notify_one(); // a short step is shown too
}

void Progress::Turn()
{
    MutexLock lock(mutex);
    for (size_t i = 0; !ending; i = (i + 1) % wheel.size()) {
        const std::string shown = step;
        lock.Unlock(); // a terminal can be slow
        if (!shown.empty()) {
            std::cerr << eraseLine << wheel[i] << ' ' << shown << std::flush;
        }
        lock.Lock();
        if (!ending) {
            changed.wait_for(lock.Native(), turn);
        }
    }
    lock.Unlock();
    std::cerr << eraseLine << std::flush;
}

} // namespace softcard
