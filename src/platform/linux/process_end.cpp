#include "src/platform/process_end.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include <pthread.h>
#include <unistd.h>

namespace {

constexpr std::chrono::seconds longestWait{2};

thread_local int depthOfWork = 0;

// Never destroyed: threads come here while the process ends.
struct Works
{
    std::mutex mutex;
    std::condition_variable changed;
    int atWork = 0; // threads
    bool ending = false;
};

Works*& Current()
{
    static auto* works = new Works;
    return works;
}

void Enter()
{
    Works& works = *Current();
    std::unique_lock lock(works.mutex);
    while (works.ending) {
        lock.unlock();
        pause();
        lock.lock();
    }
    ++works.atWork;
}

void Leave()
{
    Works& works = *Current();
    const std::lock_guard lock(works.mutex);
    --works.atWork;
    works.changed.notify_all();
}

// A forked child has the forking thread alone, and the others may have held the lock.
void BeginInChild()
{
    Current() = new Works;
    Current()->atWork = depthOfWork > 0 ? 1 : 0;
}

struct EndOfProcess
{
    EndOfProcess() { pthread_atfork(nullptr, nullptr, BeginInChild); }
    ~EndOfProcess()
    {
        Works& works = *Current();
        std::unique_lock lock(works.mutex);
        works.ending = true;
        const int own = depthOfWork > 0 ? 1 : 0; // a signal handler that ends the process
        works.changed.wait_for(lock, longestWait, [&] { return works.atWork <= own; });
    }
    EndOfProcess(const EndOfProcess&) = delete;
    EndOfProcess& operator=(const EndOfProcess&) = delete;
};

} // namespace

void BeginWorkBeforeEnd()
{
    if (depthOfWork == 0) {
        Enter();
    }
    ++depthOfWork;
}

void FinishWorkBeforeEnd()
{
    --depthOfWork;
    if (depthOfWork == 0) {
        Leave();
    }
}

int PauseWorkBeforeEnd()
{
    const int depth = std::exchange(depthOfWork, 0);
    if (depth > 0) {
        Leave();
    }
    return depth;
}

void ResumeWorkBeforeEnd(int depth)
{
    if (depth > 0) {
        Enter();
    }
    depthOfWork = depth;
}

void WaitForWorkAtProcessEnd()
{
    static_cast<void>(Current());
    static const EndOfProcess end; // objects end in the reverse order in which they were made
}

bool ProcessIsEnding()
{
    Works& works = *Current();
    const std::lock_guard lock(works.mutex);
    return works.ending;
}
