#include "tools/tavrik-log/system/interruption.h"

#include <csignal>
#include <initializer_list>

namespace logtool {
namespace {

volatile std::sig_atomic_t interrupted = 0;

} // namespace

void TakeInterruptions()
{
    for (const int signal : {SIGINT, SIGTERM}) {
        static_cast<void>(std::signal(signal, [](int) { interrupted = 1; }));
    }
}

bool IsInterrupted()
{
    return interrupted != 0;
}

} // namespace logtool
