// Waits of calls that have nothing to do but to let time pass, and that the end of the front ends.
#pragma once

#include "src/platform/mutex.h"

#include <chrono>
#include <condition_variable>

namespace front {

class Waits
{
public:
    using Time = std::chrono::steady_clock::time_point;

    // Returns at the time, or once all waits are over. The caller holds no lock.
    void Until(Time time) EXCLUDES(mutex);

    // Ends all waits, also those to come.
    void End() EXCLUDES(mutex);
    [[nodiscard]] bool AreOver() const EXCLUDES(mutex);

private:
    mutable Mutex mutex; // held for moments; no other lock is taken while it is held
    std::condition_variable ending;
    bool over GUARDED_BY(mutex) = false;
};

} // namespace front
