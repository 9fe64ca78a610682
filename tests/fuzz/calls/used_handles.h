// The handles that were given: none may come twice in the life of a process.
#pragma once

#include <cstdint>
#include <mutex>
#include <set>

namespace fuzz {

class UsedHandles
{
public:
    // False when it was given before.
    bool Add(uint64_t handle)
    {
        const std::lock_guard lock(mutex);
        highest = handle > highest ? handle : highest;
        return handle > highestBefore && ofInput.insert(handle).second;
    }
    // What was given so far is remembered as one number: all handles that come later are higher.
    void NextInput()
    {
        const std::lock_guard lock(mutex);
        highestBefore = highest;
        ofInput.clear();
    }

private:
    std::mutex mutex;
    uint64_t highest = 0;
    uint64_t highestBefore = 0;
    std::set<uint64_t> ofInput;
};

} // namespace fuzz
