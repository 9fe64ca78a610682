// The handles and slots that the calls of an input may use: those that were given, in the order of their coming, also
// when they are no longer good. Shared by the threads of an input.
#pragma once

#include "tests/fuzz/calls/call_text.h"

#include <mutex>
#include <vector>

namespace fuzz {

class Handles
{
public:
    void Add(uint64_t handle)
    {
        const std::lock_guard lock(mutex);
        if (given.size() < longest) {
            given.push_back(handle);
        }
    }
    void Forget()
    {
        const std::lock_guard lock(mutex);
        given.clear();
    }
    // A digit is the place of one that was given; other characters stand for handles that were not.
    uint64_t Take(CallText& text)
    {
        const std::lock_guard lock(mutex);
        const uint64_t newest = given.empty() ? 0 : given.back();
        const char letter = text.Letter();
        switch (letter) {
        case 'z':
            return 0;
        case 'y':
            return ~uint64_t{0};
        case 'x':
            return newest + 1;
        case 'w': // the same in its low 32 bits
            return newest + (uint64_t{1} << 32U);
        case 'l':
            return newest;
        default:
            const std::size_t place = letter >= '0' && letter <= '9' ? static_cast<std::size_t>(letter - '0')
                                                                     : static_cast<unsigned char>(letter);
            return given.empty() ? 0 : given[place % given.size()];
        }
    }

private:
    static constexpr std::size_t longest = 200;

    std::mutex mutex;
    std::vector<uint64_t> given;
};

struct CallPool
{
    Handles slots;
    Handles sessions;
    Handles objects;
};

} // namespace fuzz
