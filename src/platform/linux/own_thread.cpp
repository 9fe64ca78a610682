#include "src/platform/own_thread.h"

#include "src/platform/linux/signals_held_back.h"

#include <thread>
#include <utility>

struct OwnThread::State
{
    std::thread thread;
};

// The thread comes last: nothing may fail once it runs. The host's signals are for the host's threads: a handler
// of its own must not run between our locks and calls, and a host that waits for a signal must get it.
OwnThread::OwnThread(std::function<void()> body) : state(std::make_unique<State>())
{
    const SignalsHeldBack heldBack(SignalsFromOutside());
    state->thread = std::thread(std::move(body));
}

OwnThread::~OwnThread() = default;

void OwnThread::Join()
{
    state->thread.join();
}
