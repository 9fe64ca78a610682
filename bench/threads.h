// Calls that are made on several threads at a time.
#pragma once

#include <algorithm>
#include <barrier>
#include <chrono>
#include <cstddef>
#include <thread>
#include <vector>

namespace bench {

// The seconds from the first call of all threads to the last, for each call that was made. `call` is given the thread's
// number, from 0; it must not throw.
template <typename Call>
double TimeOfCall(std::size_t threads, const Call& call)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::size_t calls = 640000;
    std::vector<Clock::time_point> begins(threads);
    std::vector<Clock::time_point> ends(threads);
    std::barrier together(static_cast<std::ptrdiff_t>(threads));
    std::vector<std::thread> working;
    working.reserve(threads);
    for (std::size_t thread = 0; thread < threads; ++thread) {
        working.emplace_back([&, thread] {
            together.arrive_and_wait();
            begins[thread] = Clock::now();
            for (std::size_t i = 0; i < calls / threads; ++i) {
                call(thread);
            }
            ends[thread] = Clock::now();
        });
    }
    for (std::thread& one : working) {
        one.join();
    }
    const std::chrono::duration<double> taken =
        *std::max_element(ends.begin(), ends.end()) - *std::min_element(begins.begin(), begins.end());
    return taken.count() / calls;
}

} // namespace bench
