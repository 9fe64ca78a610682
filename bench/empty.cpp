// The least that a call into a library can be.
#include <atomic>
#include <mutex>

namespace {

std::mutex applications;
std::mutex store;
std::atomic<int> working{0};
std::atomic<int> users{1};

} // namespace

#pragma GCC visibility push(default)
extern "C" {

// With a lock.
void LockAndUnlock()
{
    const std::lock_guard<std::mutex> lock(applications);
}

// With what a call of the library can't do without that looks at a session: the application's mutex; the count of threads
// at work, which the end of the process waits for; the store's lock, because a reader can take a card's sessions away at
// any moment; and the count of the record's users, since it can be taken away while it is used.
void LocksAndCounts()
{
    const std::lock_guard<std::mutex> lock(applications);
    ++working;
    {
        const std::lock_guard<std::mutex> look(store);
        ++users;
    }
    --users;
    --working;
}
}
#pragma GCC visibility pop
