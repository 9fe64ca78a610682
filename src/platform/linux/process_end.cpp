#include "src/platform/process_end.h"

#include "src/platform/mutex.h"
#include "src/platform/never_destroyed.h"

#include <chrono>
#include <condition_variable>
#include <utility>

#include <pthread.h>
#include <unistd.h>

namespace {

constexpr std::chrono::seconds longestWait{2};

thread_local int depthOfWork = 0;

// Never destroyed: threads come here while the process ends.
struct Works
{
    explicit Works(int threads) : atWork(threads) {}

    Mutex mutex;
    std::condition_variable changed;
    int atWork GUARDED_BY(mutex); // threads
    bool ending GUARDED_BY(mutex) = false;
};

Works*& Current()
{
    static NeverDestroyed<Works> atLoad(0);
    static Works* works = &atLoad.Get();
    return works;
}

void Enter()
{
    Works& works = *Current();
    MutexLock lock(works.mutex);
    while (works.ending) {
        lock.Unlock();
        pause();
        lock.Lock();
    }
    ++works.atWork;
}

void Leave()
{
    Works& works = *Current();
    const MutexLock lock(works.mutex);
    --works.atWork;
    works.changed.notify_all();
}

// A forked child has the forking thread alone, and the others may have held the lock.
void BeginInChild()
{
    Current() = new Works(depthOfWork > 0 ? 1 : 0);
}

struct EndOfProcess
{
    EndOfProcess() { pthread_atfork(nullptr, nullptr, BeginInChild); }
    ~EndOfProcess()
    {
        Works& works = *Current();
        MutexLock lock(works.mutex);
        works.ending = true;
        const int own = depthOfWork > 0 ? 1 : 0; // a signal handler that ends the process
        const auto deadline = std::chrono::steady_clock::now() + longestWait;
        while (works.atWork > own &&
               works.changed.wait_until(lock.Native(), deadline) == std::cv_status::no_timeout) {
        }
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
    const MutexLock lock(works.mutex);
    return works.ending;
}
