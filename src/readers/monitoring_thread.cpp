#include "src/readers/monitoring_thread.h"

#include "src/card/card_api.h"
#include "src/card/card_status.h"
#include "src/log/logger.h"
#include "src/platform/platform.h"
#include "src/readers/slot_loading.h"
#include "src/store/internal_cache.h"

#include <chrono>
#include <exception>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace {

constexpr uint32_t waitMilliseconds = 500;

// What the handling of an event threw. The card side calls the events back, on a thread of its choice, and no
// exception may pass through it: one is kept here until the wait that the event belongs to has returned.
class FailedEvent
{
public:
    void Keep(std::exception_ptr thrown)
    {
        const MutexLock guard(lock);
        failure = std::move(thrown);
    }
    void Rethrow()
    {
        std::exception_ptr thrown;
        {
            const MutexLock guard(lock);
            std::swap(thrown, failure);
        }
        if (thrown != nullptr) {
            std::rethrow_exception(thrown);
        }
    }

private:
    Mutex lock;
    std::exception_ptr failure GUARDED_BY(lock);
};

// Never destroyed: the card side may call back until the process ends.
FailedEvent& LastFailedEvent()
{
    static NeverDestroyed<FailedEvent> event;
    return event.Get();
}

void UnloadSlotList(const std::string& readerName, CardSession cardSession)
{
    if (cardSession != 0) {
        EndCardSessions(InternalCache::GetInstance().RemoveCardToken(readerName));
    }
}

void LogFailedEvent(CardStatus status)
{
    char text[128] = {};
    FormatInto(text, sizeof(text), "0x%x %s", static_cast<unsigned int>(status), CardStatusName(status));
    LOG_LINE(LogLevel_Debug, "ReaderCallback", "Card inserted event occurred with error: %s", text);
}

void ApplyReaderEvent(uint32_t event, const char16_t* readerName, CardSession cardSession,
                      const CardStatus* status)
{
    if (*status != eStatusOk) {
        LogFailedEvent(*status);
        return;
    }
    if (event == cardInsertedEvent) {
        UnownedCardSession inserted(cardSession);
        const std::string narrowName = NarrowReaderName(readerName);
        LoadSlotList(inserted.Release(), narrowName);
    } else if (event == cardRemovedEvent) {
        UnloadSlotList(NarrowReaderName(readerName), cardSession);
    }
}

// Handed to the card side, which calls it on a thread of its choice. Does not take the library lock: the end of
// the library waits for this thread with that lock held.
void HandleReaderEvent(uint32_t event, const char16_t* readerName, CardSession cardSession,
                       const CardStatus* status)
{
    try {
        ApplyReaderEvent(event, readerName, cardSession, status);
    } catch (...) {
        LastFailedEvent().Keep(std::current_exception());
    }
}

void LogFailedWatch(const char* reason)
{
    LOG_LINE(LogLevel_Error, "MonitoringThread::DoMonitoring", "Watching the readers failed: %s", reason);
}

// False when the step failed, which is logged with the reason when `logged` is true.
template <typename Step>
bool Succeeds(bool logged, Step&& step)
{
    try {
        std::forward<Step>(step)();
        return true;
    } catch (const std::exception& failure) {
        if (logged) {
            LogFailedWatch(failure.what());
        }
    } catch (...) {
        if (logged) {
            LogFailedWatch("unknown exception");
        }
    }
    return false;
}

} // namespace

MonitoringThread& MonitoringThread::GetInstance()
{
    static NeverDestroyed<MonitoringThread> instance;
    return instance.Get();
}

void MonitoringThread::Start()
{
    running = true;
    LoadSlotList(0, "");
    CardAPI_WaitForReaderEvent(0, HandleReaderEvent);
    LastFailedEvent().Rethrow();
    LOG_LINE(LogLevel_Debug, "MonitoringThread::Start", "Going to start DoMonitoring thread");

    Watches started(1); // made first: nothing may fail once the thread runs
    const MutexLock guard(watchLock);
    ForgetWatchesOfParent();
    started.front() = std::make_unique<OwnThread>([this] { DoMonitoring(waitMilliseconds); });
    watches.splice(watches.end(), started);
    everStarted = true;
}

void MonitoringThread::Stop()
{
    running = false;
}

void MonitoringThread::Join()
{
    Watches joining;
    {
        const MutexLock guard(watchLock);
        ForgetWatchesOfParent();
        if (!everStarted) {
            return;
        }
        joining.swap(watches);
    }
    if (joining.empty()) {
        throw std::system_error(std::make_error_code(std::errc::invalid_argument));
    }
    try {
        for (; !joining.empty(); joining.pop_front()) {
            joining.front()->Join();
        }
    } catch (...) {
        const MutexLock guard(watchLock);
        watches.splice(watches.begin(), joining);
        throw;
    }
}

void MonitoringThread::ForgetWatchesOfParent()
{
    const uint32_t current = Platform::ProcessId();
    if (processId == current) {
        return;
    }
    for (auto& watch : watches) {
        static_cast<void>(watch.release());
    }
    watches.clear();
    everStarted = false;
    processId = current;
}

void MonitoringThread::DoMonitoring(uint32_t timeout)
{
    bool waiting = true; // of waits that fail one after the other only the first is logged
    while (running) {
        waiting = Succeeds(waiting, [timeout] { CardAPI_WaitForReaderEvent(timeout, HandleReaderEvent); });
        Succeeds(true, [] { LastFailedEvent().Rethrow(); });
        if (!waiting) {
            std::this_thread::sleep_for(
                std::chrono::milliseconds(timeout)); // a wait that fails does not take its time
        }
    }
}
