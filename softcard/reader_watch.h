// Waiting for a change in the readers.
#pragma once

#include "directories.h"
#include "files.h"

#include <chrono>
#include <filesystem>
#include <set>

namespace softcard {

// Sees readers and cards come and go. Where the system gives it no notification, it wakes often instead.
class ReaderWatch
{
public:
    explicit ReaderWatch(const Directories& directories);

    // Follows the readers that there are now, and no longer those that have gone. Wait sees every change that
    // is made after this.
    void Follow();

    // Returns after a change, after WakeUp, or after at most the given time; it may also return early.
    void Wait(std::chrono::milliseconds time) const;

    // From another thread.
    void WakeUp() const;

private:
    void FollowFolder(const std::filesystem::path& folder, std::set<int>& followed);

    const std::filesystem::path readers_;
    const std::filesystem::path cards_;
    FileDescriptor notification_;
    FileDescriptor wakeUp_;
    std::set<int> followed_; // the numbers that the system knows the folders by
    bool seesEverything_ = false;
};

} // namespace softcard
