// A count that one thread raises and another one waits for. Not the semaphore of the C++ library: with it, tests hung now and
// then under Wine.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace front_test {

class Signal
{
public:
    void Raise()
    {
        const std::lock_guard lock(mutex);
        ++count;
        changed.notify_one();
    }

    // Returns once it has been raised, and takes that away.
    void Await()
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return count > 0; });
        --count;
    }

    // The same, for so long at most. False when it has not been raised.
    [[nodiscard]] bool AwaitFor(std::chrono::seconds longest)
    {
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, longest, [this] { return count > 0; })) {
            return false;
        }
        --count;
        return true;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    int count = 0;
};

} // namespace front_test
