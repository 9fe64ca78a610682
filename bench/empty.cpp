// The least that a call into a library with a lock can be.
#include <mutex>

extern "C" __attribute__((visibility("default"))) void LockAndUnlock()
{
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
}
