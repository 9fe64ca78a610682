// The lock that the exported functions share.
#pragma once

#include "src/platform/mutex.h"
#include "tavrik/cryptoki.h"

#include <atomic>

// The mutex callbacks that the application gave to C_Initialize, and the mutex they made. They govern the
// lock from then on, also after C_Finalize.
struct ApplicationMutex
{
    // Takes over the callbacks of the argument record, when it has any, and has the application make its
    // mutex, when there are callbacks of this or of an earlier call.
    void Create(const CK_C_INITIALIZE_ARGS& arguments);

    // Has the application destroy its mutex. The callbacks stay, and get a null mutex from then on.
    void Destroy();

    // Two starts of the library can meet: the one stores while the lock of the other reads.
    std::atomic<CK_CREATEMUTEX> createMutex{nullptr};
    std::atomic<CK_DESTROYMUTEX> destroyMutex{nullptr};
    std::atomic<CK_LOCKMUTEX> lockMutex{nullptr};
    std::atomic<CK_UNLOCKMUTEX> unlockMutex{nullptr};
    CK_VOID_PTR mutex = nullptr; // written by the application, which gets its address

    static ApplicationMutex& Instance();
};

// One mutex of the process and one mark that says it is owned. The mark belongs to the lock and not to the
// thread that set it: a thread that finds it set gets an error instead of waiting. An application with
// several threads gives callbacks, and then this lock is not used. The mark decides at run time whether the mutex
// is held, which Clang's analysis cannot follow.
class LibraryLock
{
public:
    LibraryLock() = default;
    ~LibraryLock() NO_THREAD_SAFETY_ANALYSIS; // unlocks first what is still owned
    LibraryLock(const LibraryLock&) = delete;
    LibraryLock& operator=(const LibraryLock&) = delete;

    // Throws std::system_error: resource_deadlock_would_occur when the mark is set, or what the mutex gives.
    void Lock() NO_THREAD_SAFETY_ANALYSIS;

    // Throws std::system_error (operation_not_permitted) when the mark is not set.
    void Unlock() NO_THREAD_SAFETY_ANALYSIS;

private:
    Mutex mutex;
    std::atomic<bool> owned{false};
};

// Holds the lock of the library, the application's or our own, as long as it lives. Both ends can throw what
// the lock throws.
class LibraryLockGuard
{
public:
    LibraryLockGuard();
    ~LibraryLockGuard() noexcept(false); // NOLINT(bugprone-exception-escape): its contract
    LibraryLockGuard(const LibraryLockGuard&) = delete;
    LibraryLockGuard& operator=(const LibraryLockGuard&) = delete;
};
