#include "src/pkcs11/library_lock.h"

#include <system_error>

namespace {

LibraryLock libraryLock;

} // namespace

ApplicationMutex& ApplicationMutex::Instance()
{
    static constinit ApplicationMutex instance;
    return instance;
}

void ApplicationMutex::Create(const CK_C_INITIALIZE_ARGS& arguments)
{
    if (arguments.CreateMutex != nullptr) {
        createMutex = arguments.CreateMutex;
        destroyMutex = arguments.DestroyMutex;
        lockMutex = arguments.LockMutex;
        unlockMutex = arguments.UnlockMutex;
    }
    if (const CK_CREATEMUTEX create = createMutex; create != nullptr) {
        create(&mutex);
    }
}

void ApplicationMutex::Destroy()
{
    const CK_DESTROYMUTEX destroy = destroyMutex;
    if (destroy != nullptr && mutex != nullptr) {
        destroy(mutex);
    }
    mutex = nullptr;
}

LibraryLock::~LibraryLock()
{
    if (owned) {
        mutex.Unlock();
    }
}

// The mutex orders what the threads do; the mark is a byte that they read and write in between.
void LibraryLock::Lock()
{
    if (owned.load(std::memory_order_relaxed)) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
    mutex.Lock();
    owned.store(true, std::memory_order_relaxed);
}

void LibraryLock::Unlock()
{
    if (!owned.load(std::memory_order_relaxed)) {
        throw std::system_error(std::make_error_code(std::errc::operation_not_permitted));
    }
    mutex.Unlock();
    owned.store(false, std::memory_order_relaxed);
}

LibraryLockGuard::LibraryLockGuard()
{
    const auto& application = ApplicationMutex::Instance();
    if (const CK_LOCKMUTEX lock = application.lockMutex; lock != nullptr) {
        lock(application.mutex);
        return;
    }
    libraryLock.Lock();
}

LibraryLockGuard::~LibraryLockGuard() noexcept(false) // NOLINT(bugprone-exception-escape): its contract
{
    const auto& application = ApplicationMutex::Instance();
    if (const CK_UNLOCKMUTEX unlock = application.unlockMutex; unlock != nullptr) {
        unlock(application.mutex);
        return;
    }
    libraryLock.Unlock();
}
