#include "platform/own_thread.h"

#include <thread>
#include <utility>

struct OwnThread::State
{
    std::thread thread;
};

OwnThread::OwnThread(std::function<void()> body)
    : state(std::make_unique<State>(State{std::thread(std::move(body))}))
{
}

OwnThread::~OwnThread() = default;

void OwnThread::Join()
{
    state->thread.join();
}
