// What the library tells of readers, collected.
#pragma once

#include "tests/softcard/card_library.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace softcard::test {

using Clock = std::chrono::steady_clock;

struct Event
{
    uint32_t code;
    std::u16string reader;
    CardSession session;
    CardStatus status;
    Clock::time_point time; // when it came
};

// The callback that collects.
void Listen(uint32_t code, const char16_t* reader, CardSession session, const CardStatus* status);

// What was collected since the last time.
std::vector<Event> TakeEvents();

// The next event. The test fails when there is none for long.
Event AwaitEvent();

// That so many insertions and removals of a card are told of, each removal with the session that came with the insertion.
void ExpectEvents(int rounds, const std::function<void()>& insert, const std::function<void()>& remove);

// Returns once another thread that waits for events follows the readers.
void AwaitFollowing();

// What a wait without time brings.
std::vector<Event> EventsNow();

// Another thread that waits for events again and again, as a monitoring thread does. Each wait is longer than AwaitEvent
// has patience, so an event comes only when the library notices the change by itself. The end of the monitor finalizes the
// library.
class Monitor
{
public:
    Monitor();
    ~Monitor();
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;
    Monitor(Monitor&&) = delete;
    Monitor& operator=(Monitor&&) = delete;

private:
    std::atomic<bool> running = true;
    std::thread thread;
};

} // namespace softcard::test
