// A mutex whose protocol Clang checks at compile time. What a mutex guards says so where it is declared:
//
//     Mutex mutex;
//     int count GUARDED_BY(mutex) = 0;
//
// and a function that is called with the mutex held says REQUIRES(mutex), one that takes it by itself EXCLUDES(mutex). The
// build with Clang fails when such a member is used without its mutex. Other compilers see a plain mutex.
#pragma once

#include <mutex>

/* NOLINTBEGIN(cppcoreguidelines-macro-usage): attributes have no other form */
#if defined(__clang__)
#define TAVRIK_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define TAVRIK_THREAD_SAFETY(attribute)
#endif
#define CAPABILITY(name) TAVRIK_THREAD_SAFETY(capability(name))
#define SCOPED_CAPABILITY TAVRIK_THREAD_SAFETY(scoped_lockable)
#define GUARDED_BY(mutex) TAVRIK_THREAD_SAFETY(guarded_by(mutex))
#define PT_GUARDED_BY(mutex) TAVRIK_THREAD_SAFETY(pt_guarded_by(mutex))
#define ACQUIRED_BEFORE(...) TAVRIK_THREAD_SAFETY(acquired_before(__VA_ARGS__))
#define REQUIRES(...) TAVRIK_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) TAVRIK_THREAD_SAFETY(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) TAVRIK_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define RELEASE(...) TAVRIK_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) TAVRIK_THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))
#define RETURN_CAPABILITY(mutex) TAVRIK_THREAD_SAFETY(lock_returned(mutex))
#define NO_THREAD_SAFETY_ANALYSIS TAVRIK_THREAD_SAFETY(no_thread_safety_analysis)
/* NOLINTEND(cppcoreguidelines-macro-usage) */

class CAPABILITY("mutex") Mutex
{
public:
    void Lock() ACQUIRE() { mutex.lock(); }
    void Unlock() RELEASE() { mutex.unlock(); }
    [[nodiscard]] bool TryLock() TRY_ACQUIRE(true) { return mutex.try_lock(); }

private:
    friend class MutexLock;
    std::mutex mutex;
};

// Holds a mutex until the end of its scope.
class SCOPED_CAPABILITY MutexLock
{
public:
    explicit MutexLock(Mutex& held) ACQUIRE(held) : lock(held.mutex) {}
    ~MutexLock() RELEASE() = default;
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    // The mutex is given up in the middle of the scope, and taken again. Each only in its turn.
    void Unlock() RELEASE() { lock.unlock(); }
    void Lock() ACQUIRE() { lock.lock(); }

    // For std::condition_variable, whose wait gives the mutex up and has it again when it returns. The condition stands in a
    // loop around the wait, not in a function given to it, since Clang does not know what such a function holds.
    std::unique_lock<std::mutex>& Native() { return lock; }

private:
    std::unique_lock<std::mutex> lock;
};
