#include "cache/monitoring_thread.h"

#include "cache/slot_loading.h"
#include "card/card_status.h"
#include "log/logger.h"
#include "platform/platform.h"

namespace {

constexpr uint32_t waitMilliseconds = 500;

void UnloadSlotList(const std::string& readerName, CardSession cardSession)
{
    if (cardSession != 0) {
        InternalCache::GetInstance().RemoveCardToken(readerName);
    }
}

void LogFailedEvent(CardStatus status)
{
    char text[128] = {};
    FormatInto(text, sizeof(text), "0x%x %s", static_cast<unsigned int>(status), CardStatusName(status));
    LOG_LINE(LogLevel_Debug, "ReaderCallback", "Card inserted event occurred with error: %s", text);
}

// Handed to the card side, which calls it on a thread of its choice. Takes no lock of the front end: the end
// of the library waits for this thread with that lock held.
void HandleReaderEvent(uint32_t event, const char16_t* readerName, CardSession cardSession,
                       const CardStatus* status)
{
    if (*status != eStatusOk) {
        LogFailedEvent(*status);
        return;
    }
    const std::string narrowName = NarrowReaderName(readerName);
    if (event == cardInsertedEvent) {
        LoadSlotList(cardSession, narrowName);
    } else if (event == cardRemovedEvent) {
        UnloadSlotList(narrowName, cardSession);
    }
}

} // namespace

MonitoringThread& MonitoringThread::GetInstance()
{
    static MonitoringThread* const instance = new MonitoringThread;
    return *instance;
}

void MonitoringThread::Start()
{
    running = true;
    LoadSlotList(0, "");
    CardAPI_WaitForReaderEvent(0, HandleReaderEvent);
    LOG_LINE(LogLevel_Debug, "MonitoringThread::Start", "Going to start DoMonitoring thread");
    thread = std::make_unique<OwnThread>([this] { DoMonitoring(waitMilliseconds); });
    processId = Platform::ProcessId();
}

void MonitoringThread::Stop()
{
    running = false;
}

void MonitoringThread::Join()
{
    if (thread == nullptr) {
        return;
    }
    if (processId != Platform::ProcessId()) {
        // A forked child has the object but not the thread, and would wait for it for ever.
        static_cast<void>(thread.release());
        return;
    }
    thread->Join();
}

void MonitoringThread::DoMonitoring(uint32_t timeout)
{
    while (running) {
        CardAPI_WaitForReaderEvent(timeout, HandleReaderEvent);
    }
}
