#include "native/process.h"

#include <new>

#include <pthread.h>

namespace native {
namespace {

// Never destroyed: threads of the host may still come when the process ends.
struct Process
{
    std::mutex lifecycle; // held by a start or an end for as long as it takes
    std::mutex mutex;     // of what follows
    std::condition_variable left;
    Front* front = nullptr;
    int calls = 0;
    bool gateHeldForFork = false;
};

Process& ThisProcess()
{
    alignas(Process) static unsigned char place[sizeof(Process)];
    static auto* process = new (place) Process;
    return *process;
}

// No thread is to be in the middle of something when the process forks, except in a dialog, for which a fork
// can't wait.
void BeforeFork()
{
    Process& process = ThisProcess();
    process.mutex.lock();
    process.gateHeldForFork = process.front != nullptr && process.front->gate.EnterForFork();
}

void AfterForkInParent()
{
    Process& process = ThisProcess();
    if (process.gateHeldForFork) {
        process.front->gate.Leave();
    }
    process.mutex.unlock();
}

// The child has none of the threads that may hold locks, so it begins with everything new and leaves the
// parent's where it is.
void AfterForkInChild()
{
    new (&ThisProcess()) Process;
    Library::Instance().AfterFork();
}

[[gnu::constructor]] void Loaded()
{
    static_cast<void>(ThisProcess());
    static_cast<void>(Library::Instance());
    pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild);
}

// With dlclose, and at the end of the process; a call that is still at work then has a library to come back
// to.
[[gnu::destructor]] void Unloaded()
{
    Process& process = ThisProcess();
    const std::lock_guard lock(process.mutex);
    if (process.calls == 0) {
        delete std::exchange(process.front, nullptr);
        Library::Instance().Unload();
    }
}

} // namespace

CK_RV StartFront()
{
    Process& process = ThisProcess();
    const std::lock_guard starting(process.lifecycle);
    {
        const std::lock_guard lock(process.mutex);
        Require(process.front == nullptr, CKR_CRYPTOKI_ALREADY_INITIALIZED);
    }
    auto& library = Library::Instance();
    const CK_RV started = library.Start();
    if (started != CKR_OK) {
        return started;
    }
    std::unique_ptr<Front> front;
    try {
        front = std::make_unique<Front>(library);
    } catch (...) {
        static_cast<void>(library.End());
        throw;
    }
    const std::lock_guard lock(process.mutex);
    process.front = front.release();
    return CKR_OK;
}

CK_RV EndFront()
{
    Process& process = ThisProcess();
    const std::lock_guard ending(process.lifecycle);
    std::unique_ptr<Front> front;
    {
        std::unique_lock lock(process.mutex);
        Require(process.front != nullptr, CKR_CRYPTOKI_NOT_INITIALIZED);
        front.reset(std::exchange(process.front, nullptr));
        front->Close();
        process.left.wait(lock, [&process] { return process.calls == 0; });
    }
    return Library::Instance().End();
}

Call::Call()
{
    Process& process = ThisProcess();
    const std::lock_guard lock(process.mutex);
    front = process.front;
    Require(front != nullptr, CKR_CRYPTOKI_NOT_INITIALIZED);
    ++process.calls;
}

Call::~Call()
{
    Process& process = ThisProcess();
    const std::lock_guard lock(process.mutex);
    --process.calls;
    process.left.notify_all();
}

} // namespace native
