#include "src/platform/process_end.h"

#include "src/platform/mutex.h"
#include "src/platform/never_destroyed.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <utility>

#include <pthread.h>
#include <unistd.h>

namespace {

constexpr std::chrono::seconds longestWait{2};

thread_local int depthOfWork = 0;

// Every call comes here twice, so there is no lock to wait for: a thread counts itself before it reads `processEnds`, and the
// end writes `processEnds` before it reads the count, so one of the two sees the other.
constinit std::atomic<int> threadsAtWork{0};
constinit std::atomic<bool> processEnds{false};

// What the end waits with. Never destroyed: threads come here while the process ends.
struct WaitAtEnd
{
    Mutex mutex;
    std::condition_variable changed;
};

WaitAtEnd*& CurrentWait()
{
    static NeverDestroyed<WaitAtEnd> atLoad;
    static WaitAtEnd* wait = &atLoad.Get();
    return wait;
}

void Leave()
{
    --threadsAtWork;
    if (processEnds) {
        WaitAtEnd& wait = *CurrentWait();
        const MutexLock lock(wait.mutex);
        wait.changed.notify_all();
    }
}

void Enter()
{
    ++threadsAtWork;
    if (processEnds) {
        Leave();
        while (true) {
            pause();
        }
    }
}

// A forked child has the forking thread alone, and the others may have held the lock.
void BeginInChild()
{
    threadsAtWork = depthOfWork > 0 ? 1 : 0;
    processEnds = false;
    CurrentWait() = new WaitAtEnd;
}

struct EndOfProcess
{
    EndOfProcess() { pthread_atfork(nullptr, nullptr, BeginInChild); }
    ~EndOfProcess()
    {
        processEnds = true;
        WaitAtEnd& wait = *CurrentWait();
        MutexLock lock(wait.mutex);
        const int own = depthOfWork > 0 ? 1 : 0; // a signal handler that ends the process
        const auto deadline = std::chrono::steady_clock::now() + longestWait;
        while (threadsAtWork > own &&
               wait.changed.wait_until(lock.Native(), deadline) == std::cv_status::no_timeout) {
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
    static_cast<void>(CurrentWait());
    static const EndOfProcess end; // objects end in the reverse order in which they were made
}

bool ProcessIsEnding()
{
    return processEnds;
}
