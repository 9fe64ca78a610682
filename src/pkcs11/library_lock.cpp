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

void LibraryLock::Lock()
{
    if (owned) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
    mutex.Lock();
    owned = true;
}

void LibraryLock::Unlock()
{
    if (!owned) {
        throw std::system_error(std::make_error_code(std::errc::operation_not_permitted));
    }
    mutex.Unlock();
    owned = false;
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
