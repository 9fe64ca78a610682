#include "front/door/process.h"

#include "front/library/own_folder.h"

#include "src/crypto/shared_objects.h"

#include <new>
#include <thread>

#include <pthread.h>

namespace front {
namespace {

// Never destroyed: threads of the host may still come when the process ends.
struct Process
{
    std::mutex lifecycle; // held by a start or an end for as long as it takes
    std::mutex mutex;     // of what follows
    std::condition_variable changed;
    Front* front = nullptr;
    bool ending = false; // no call comes in any more
    int calls = 0;
    std::thread::id libraryChanger; // the thread that is inside the start or the end of the library
    Front* heldForFork = nullptr;
};

Process& ThisProcess()
{
    alignas(Process) static unsigned char place[sizeof(Process)];
    static auto* process = new (place) Process;
    return *process;
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
        const std::lock_guard lock(process.mutex);
        process.libraryChanger = changer;
        process.changed.notify_all();
    }

    Process& process;
};

// No thread is to be in the middle of something when the process forks, except in a dialog, for which a fork
// can't wait, and the thread that forks.
void BeforeFork()
{
    Process& process = ThisProcess();
    std::unique_lock lock(process.mutex);
    process.changed.wait(lock, [&process] {
        return process.libraryChanger == std::thread::id() ||
               process.libraryChanger == std::this_thread::get_id();
    });
    static_cast<void>(lock.release()); // let go of after the fork
    process.heldForFork = process.front;
    if (process.heldForFork != nullptr) {
        process.heldForFork->HoldForFork();
    }
}

void AfterForkInParent()
{
    Process& process = ThisProcess();
    if (process.heldForFork != nullptr) {
        process.heldForFork->GoOnAfterFork();
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
    static_cast<void>(OwnFolders());
    static_cast<void>(ThisProcess());
    static_cast<void>(Library::Instance());
    pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild);
}

// With dlclose, and at the end of the process; a call that is still at work then has a library to come back
// to.
[[gnu::destructor]] void Unloaded()
{
    if (ProcessIsEnding()) {
        return; // what would be let go of may refer to what has ended before
    }
    Process& process = ThisProcess();
    const std::lock_guard lock(process.mutex);
    if (process.calls == 0 && !process.ending && process.libraryChanger == std::thread::id()) {
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
        process.ending = true;
        process.front->Close();
        process.changed.wait(lock, [&process] { return process.calls == 0; });
        front.reset(std::exchange(process.front, nullptr));
        process.ending = false;
    }
    const LibraryChange change(process);
    return Library::Instance().End();
}

Call::Call()
{
    Process& process = ThisProcess();
    const std::lock_guard lock(process.mutex);
    Require(process.front != nullptr && !process.ending, CKR_CRYPTOKI_NOT_INITIALIZED);
    front = process.front;
    ++process.calls;
}

Call::~Call()
{
    Process& process = ThisProcess();
    const std::lock_guard lock(process.mutex);
    --process.calls;
    process.changed.notify_all();
}

} // namespace front
