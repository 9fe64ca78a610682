#include "tests/softcard/reader_events.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <utility>

namespace softcard::test {
namespace {

constexpr std::chrono::seconds longestWait{30};
constexpr uint32_t monitorWait = 60000; // milliseconds

// The boundary's callback carries no pointer of ours, so what it brings is kept here.
struct Heard
{
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Event> events;
};

Heard& TheHeard()
{
    static auto* const heard = new Heard();
    return *heard;
}

} // namespace

void Listen(uint32_t code, const char16_t* reader, CardSession session, const CardStatus* status)
{
    Heard& heard = TheHeard();
    const std::lock_guard lock(heard.mutex);
    heard.events.push_back({code, reader, session, *status, Clock::now()});
    heard.changed.notify_all();
}

std::vector<Event> TakeEvents()
{
    Heard& heard = TheHeard();
    const std::lock_guard lock(heard.mutex);
    return std::exchange(heard.events, {});
}

Event AwaitEvent()
{
    Heard& heard = TheHeard();
    std::unique_lock lock(heard.mutex);
    if (!heard.changed.wait_for(lock, longestWait, [&] { return !heard.events.empty(); })) {
        ADD_FAILURE() << "no event came";
        return {};
    }
    Event event = heard.events.front();
    heard.events.erase(heard.events.begin());
    return event;
}

void ExpectEvents(int rounds, const std::function<void()>& insert, const std::function<void()>& remove)
{
    const Monitor monitor;
    for (int round = 0; round < rounds; ++round) {
        insert();
        const Event inserted = AwaitEvent();
        EXPECT_EQ(inserted.code, cardInsertedEvent);
        remove();
        const Event removed = AwaitEvent();
        EXPECT_EQ(removed.code, cardRemovedEvent);
        EXPECT_EQ(removed.session, inserted.session);
    }
}

std::vector<Event> EventsNow()
{
    EXPECT_EQ(Library().waitForReaderEvent(0, Listen), 0);
    return TakeEvents();
}

Monitor::Monitor()
    : thread([this] {
          while (running) {
              Library().waitForReaderEvent(monitorWait, Listen);
          }
      })
{
}

Monitor::~Monitor()
{
    running = false;
    Library().finalize();
    thread.join();
}

} // namespace softcard::test
