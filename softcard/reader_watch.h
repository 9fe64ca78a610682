// Waiting for a change in the readers' folder.
#pragma once

#include "files.h"

#include <chrono>
#include <filesystem>

namespace softcard {

// Sees every change made after its construction. Where the system gives it no notification, it wakes often
// instead.
class ReaderWatch
{
public:
    explicit ReaderWatch(const std::filesystem::path& folder);

    // Returns after a change, after WakeUp, or after at most the given time; it may also return early.
    void Wait(std::chrono::milliseconds time) const;

    // From another thread.
    void WakeUp() const;

private:
    FileDescriptor notification_;
    FileDescriptor wakeUp_;
};

} // namespace softcard
