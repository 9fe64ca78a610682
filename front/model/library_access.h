// Lets one thread at a time call the library. A thread says whether its call may bring up the card's keyboard; a thread
// that can answer without the library then need not wait.
#pragma once

#include "src/platform/mutex.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace front {

class CAPABILITY("mutex") LibraryAccess
{
public:
    enum class Duration
    {
        brief,
        mayBeLong
    };

    // Waits until no other thread has access.
    void Lock(Duration duration) ACQUIRE();

    // Waits for other threads' brief accesses alone. False when another thread has access that may take long.
    bool LockUnlessLong(Duration duration = Duration::brief) TRY_ACQUIRE(true);

    // The same for a fork. False also when the calling thread has access itself.
    bool LockForFork() TRY_ACQUIRE(true);

    void Unlock() RELEASE();

private:
    void Take(Duration duration) REQUIRES(mutex);
    bool TakeUnlessLong(Duration duration) EXCLUDES(mutex);

    Mutex mutex;
    std::condition_variable unlocked;
    bool locked GUARDED_BY(mutex) = false;
    bool lockedForLong GUARDED_BY(mutex) = false;
    std::thread::id holder GUARDED_BY(mutex);
};

// Access until the end of the scope.
class SCOPED_CAPABILITY LibraryAccessLock
{
public:
    LibraryAccessLock(LibraryAccess& locked, LibraryAccess::Duration duration) ACQUIRE(locked)
        : access(locked)
    {
        access.Lock(duration);
    }
    // Ends an access that the thread has already.
    LibraryAccessLock(LibraryAccess& locked, std::adopt_lock_t /*adopt*/) REQUIRES(locked) : access(locked) {}
    ~LibraryAccessLock() RELEASE() { access.Unlock(); }
    LibraryAccessLock(const LibraryAccessLock&) = delete;
    LibraryAccessLock& operator=(const LibraryAccessLock&) = delete;

private:
    LibraryAccess& access;
};

} // namespace front
