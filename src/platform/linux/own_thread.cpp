#include "src/platform/own_thread.h"

#include <thread>
#include <utility>

struct OwnThread::State
{
    std::thread thread;
};

// The thread comes last: nothing may fail once it runs.
OwnThread::OwnThread(std::function<void()> body) : state(std::make_unique<State>())
{
    state->thread = std::thread(std::move(body));
}

OwnThread::~OwnThread() = default;

void OwnThread::Join()
{
    state->thread.join();
}
