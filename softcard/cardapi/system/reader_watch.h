// Waiting for a change in the readers.
#pragma once

#include "softcard/card/directories.h"

#include <chrono>
#include <memory>

namespace softcard {

// Sees readers and cards come and go. Where the system gives it no notification, it wakes often instead.
// It neither loads code nor makes threads: a host may wait for its waiting thread in a place where the system
// lets nobody do that.
class ReaderWatch
{
public:
    explicit ReaderWatch(const Directories& directories);
    ~ReaderWatch();
    ReaderWatch(const ReaderWatch&) = delete;
    ReaderWatch& operator=(const ReaderWatch&) = delete;
    ReaderWatch(ReaderWatch&&) = delete;
    ReaderWatch& operator=(ReaderWatch&&) = delete;

    // Follows the readers that there are now, and no longer those that have gone. Wait sees every change that
    // is made after this.
    void Follow();

    // Returns after a change, after WakeUp, or after at most the given time; it may also return early.
    void Wait(std::chrono::milliseconds time) const;

    // From another thread.
    void WakeUp() const;

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace softcard
