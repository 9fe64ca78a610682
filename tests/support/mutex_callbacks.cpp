#include "tests/support/mutex_callbacks.h"

#include "tests/support/black_box_test.h"

#include <atomic>
#include <mutex>

namespace blackbox {
namespace {

struct NumberedMutex
{
    int number;
    std::mutex mutex;
};

std::atomic<int> mutexesMade{0};
std::atomic<int> mutexesLocked{0};
std::atomic<int> threadsAtMutexes{0};
std::atomic<CK_RV> mutexAnswer{CKR_OK};
std::atomic<bool> makesNothing{false};

void Note(const char* callback, const NumberedMutex* mutex)
{
    const int number = mutex == nullptr ? 0 : mutex->number;
    Script()->Note(std::string(callback) + "(" + std::to_string(number) + ")");
}

CK_RV CreateNumbered(CK_VOID_PTR_PTR place)
{
    Script()->Note("CreateMutex");
    if (!makesNothing) {
        *place = new NumberedMutex{++mutexesMade, {}};
    }
    return mutexAnswer;
}

CK_RV DestroyNumbered(CK_VOID_PTR handle)
{
    auto* mutex = static_cast<NumberedMutex*>(handle);
    Note("DestroyMutex", mutex);
    delete mutex;
    return mutexAnswer;
}

CK_RV LockNumbered(CK_VOID_PTR handle)
{
    auto* mutex = static_cast<NumberedMutex*>(handle);
    ++threadsAtMutexes;
    if (mutex != nullptr) {
        mutex->mutex.lock();
    }
    ++mutexesLocked;
    Note("LockMutex", mutex);
    return mutexAnswer;
}

CK_RV UnlockNumbered(CK_VOID_PTR handle)
{
    auto* mutex = static_cast<NumberedMutex*>(handle);
    Note("UnlockMutex", mutex);
    --mutexesLocked;
    --threadsAtMutexes;
    if (mutex != nullptr) {
        mutex->mutex.unlock();
    }
    return mutexAnswer;
}

} // namespace

CK_C_INITIALIZE_ARGS MutexArguments()
{
    return {CreateNumbered, DestroyNumbered, LockNumbered, UnlockNumbered, 0, nullptr};
}

void ForgetMutexes()
{
    mutexesMade = 0;
    mutexesLocked = 0;
    threadsAtMutexes = 0;
    mutexAnswer = CKR_OK;
    makesNothing = false;
}

void SetMutexAnswer(CK_RV answer)
{
    mutexAnswer = answer;
}

void LetCreateMutexMakeNothing(bool enabled)
{
    makesNothing = enabled;
}

bool IsAnyMutexLocked()
{
    return mutexesLocked > 0;
}

int ThreadsAtMutexes()
{
    return threadsAtMutexes;
}

} // namespace blackbox
