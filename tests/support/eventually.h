// Waiting for a condition.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace blackbox {

// True once the condition holds; false when it has not held within the limit, which no machine is too slow for.
inline bool Eventually(const std::function<bool()>& condition,
                       std::chrono::milliseconds limit = std::chrono::minutes(2))
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace blackbox
