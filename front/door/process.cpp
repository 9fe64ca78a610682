#include "front/door/process.h"

#include "front/abi/refusal.h"
#include "front/system/own_folder.h"
#include "front/system/process_events.h"

#include "src/crypto/shared_objects.h"
#include "src/platform/mutex.h"
#include "src/platform/never_destroyed.h"

#include <atomic>
#include <condition_variable>
#include <new>
#include <thread>

namespace front {
namespace {

// Never destroyed: threads of the host may still come when the process ends.
struct Process
{
    Mutex lifecycle; // held by a start or an end for as long as it takes, and taken before every other lock
    Mutex mutex;     // held for moments, and across a fork
    std::condition_variable changed;
    bool ending GUARDED_BY(mutex) = false; // an end waits for the calls at work

    // A call begins and ends without the mutex, which threads would wait for, unless an end or a fork is under way. It counts
    // itself before it reads `closed`, and the end writes `closed` before it reads the count, so one of the two sees the
    // other. It reads `front` last: the end writes null there before `closed` is false again.
    std::atomic<int> calls{0};
    std::atomic<bool> closed{false};    // an end or a fork is under way; written with the mutex held
    std::atomic<Front*> front{nullptr}; // written with the mutex held

    // The thread that is inside the start or the end of the library.
    std::thread::id libraryChanger GUARDED_BY(mutex);
    Front* heldForFork GUARDED_BY(mutex) = nullptr;

    [[nodiscard]] bool LibraryChanges() const REQUIRES(mutex) { return libraryChanger != std::thread::id(); }
};

Process& ThisProcess()
{
    static NeverDestroyed<Process> process;
    return process.Get();
}

// A start or an end of the library, for as long as it takes.
class LibraryChange
{
public:
    explicit LibraryChange(Process& itsProcess) : process(itsProcess) { Tell(std::this_thread::get_id()); }
    ~LibraryChange() { Tell({}); }
    LibraryChange(const LibraryChange&) = delete;
    LibraryChange& operator=(const LibraryChange&) = delete;

private:
    void Tell(std::thread::id changer)
    {
        const MutexLock lock(process.mutex);
        process.libraryChanger = changer;
        process.changed.notify_all();
    }

    Process& process;
};

void EndCall()
{
    Process& process = ThisProcess();
    --process.calls;
    if (process.closed) {
        const MutexLock lock(process.mutex);
        process.changed.notify_all();
    }
}

Front* BeginCall()
{
    Process& process = ThisProcess();
    ++process.calls;
    if (!process.closed) {
        if (Front* const front = process.front; front != nullptr) {
            return front;
        }
    }
    EndCall();
    const MutexLock lock(process.mutex); // waits for a fork
    Front* const front = process.front;
    Require(front != nullptr && !process.ending, CKR_CRYPTOKI_NOT_INITIALIZED);
    ++process.calls;
    return front;
}

} // namespace

// No thread is to be in the middle of something when the process forks, except in a dialog, for which a fork
// can't wait, and the thread that forks. What is locked here is unlocked by AfterForkInParent.
void BeforeFork() NO_THREAD_SAFETY_ANALYSIS
{
    Process& process = ThisProcess();
    MutexLock lock(process.mutex);
    while (process.LibraryChanges() && process.libraryChanger != std::this_thread::get_id()) {
        process.changed.wait(lock.Native());
    }
    static_cast<void>(lock.Native().release());
    process.closed = true;
    process.heldForFork = process.front;
    if (process.heldForFork != nullptr) {
        process.heldForFork->HoldForFork();
    }
    Library::Instance().HoldForFork();
}

void AfterForkInParent() NO_THREAD_SAFETY_ANALYSIS
{
    Library::Instance().GoOnAfterFork();
    Process& process = ThisProcess();
    if (process.heldForFork != nullptr) {
        process.heldForFork->GoOnAfterFork();
    }
    process.closed = process.ending;
    process.mutex.Unlock();
}

// The child has none of the threads that may hold locks, so it begins with everything new and leaves the
// parent's where it is.
void AfterForkInChild()
{
    new (&ThisProcess()) Process;
    Library::Instance().AfterFork();
}

void OnFrontLoad()
{
    static_cast<void>(OwnFolders());
    static_cast<void>(ThisProcess());
    static_cast<void>(Library::Instance());
}

// A call that is still at work then has a library to come back to.
void OnFrontUnload()
{
    if (ProcessIsEnding()) {
        return; // what would be let go of may refer to what has ended before
    }
    Process& process = ThisProcess();
    const MutexLock lock(process.mutex);
    if (process.calls == 0 && !process.ending && !process.LibraryChanges()) {
        delete process.front.exchange(nullptr);
        Library::Instance().Unload();
    }
}

CK_RV StartFront()
{
    Require(!ProcessIsEnding(), CKR_GENERAL_ERROR);
    const WorkBeforeEnd work;
    Process& process = ThisProcess();
    const MutexLock starting(process.lifecycle);
    {
        const MutexLock lock(process.mutex);
        Require(process.front == nullptr, CKR_CRYPTOKI_ALREADY_INITIALIZED);
    }
    PrepareSharedCryptoObjects();
    const LibraryChange change(process);
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
    const MutexLock lock(process.mutex);
    process.front = front.release();
    return CKR_OK;
}

CK_RV EndFront()
{
    Require(!ProcessIsEnding(), CKR_CRYPTOKI_NOT_INITIALIZED);
    const WorkBeforeEnd work;
    Process& process = ThisProcess();
    const MutexLock ending(process.lifecycle);
    std::unique_ptr<Front> front;
    {
        MutexLock lock(process.mutex);
        Require(process.front != nullptr, CKR_CRYPTOKI_NOT_INITIALIZED);
        process.ending = true;
        process.closed = true;
        process.front.load()->waits.End();
        while (process.calls != 0) {
            process.changed.wait(lock.Native());
        }
        front.reset(process.front.exchange(nullptr));
        process.ending = false;
        process.closed = false;
    }
    const LibraryChange change(process);
    return Library::Instance().End();
}

Call::Call() : front(BeginCall()) {}

Call::~Call()
{
    EndCall();
}

} // namespace front
