#include "front/model/library_access.h"

namespace front {

void LibraryAccess::Lock(Duration duration)
{
    MutexLock lock(mutex);
    while (locked) {
        unlocked.wait(lock.Native());
    }
    Take(duration);
}

bool LibraryAccess::LockUnlessLong(Duration duration)
{
    return TakeUnlessLong(duration);
}

bool LibraryAccess::LockForFork()
{
    {
        const MutexLock lock(mutex);
        if (locked && holder == std::this_thread::get_id()) {
            return false;
        }
    }
    return TakeUnlessLong(Duration::brief);
}

void LibraryAccess::Unlock()
{
    {
        const MutexLock lock(mutex);
        locked = false;
        lockedForLong = false;
        holder = {};
    }
    unlocked.notify_all();
}

void LibraryAccess::Take(Duration duration)
{
    locked = true;
    lockedForLong = duration == Duration::mayBeLong;
    holder = std::this_thread::get_id();
}

bool LibraryAccess::TakeUnlessLong(Duration duration)
{
    MutexLock lock(mutex);
    while (locked && !lockedForLong) {
        unlocked.wait(lock.Native());
    }
    if (locked) {
        return false;
    }
    Take(duration);
    return true;
}

} // namespace front
