// A call in a thread of its own that a test can wait for until it has to wait itself.
#pragma once

#include "tests/front/system/thread_state.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <thread>

namespace front_test {

class OtherThread
{
public:
    explicit OtherThread(std::function<void()> work)
        : thread([this, made = std::move(work)] {
              id = OwnThread();
              made();
              done = true;
          })
    {
    }
    ~OtherThread() { Join(); }
    OtherThread(const OtherThread&) = delete;
    OtherThread& operator=(const OtherThread&) = delete;

    // Returns once the thread sleeps, for instance in a lock or a wait for a condition, or is done. A lock that is held for
    // moments does not count: the thread sleeps each time it is looked at for a while.
    void WaitUntilItSleeps() const
    {
        constexpr int looks = 20;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        for (int asleep = 0; asleep < looks && !done; asleep = Sleeps(id) ? asleep + 1 : 0) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the thread neither sleeps nor ends";
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    [[nodiscard]] bool IsDone() const { return done; }

    void Join()
    {
        if (thread.joinable()) {
            thread.join();
        }
    }

private:
    std::atomic<uint32_t> id{0};
    std::atomic<bool> done{false};
    std::thread thread; // the last member: it uses the others
};

} // namespace front_test
