// The one background thread of the library: keeps the store in step with the readers.
#pragma once

#include "cache/internal_cache.h"
#include "card/card_api.h"
#include "platform/own_thread.h"

#include <atomic>
#include <memory>
#include <string>

class MonitoringThread
{
public:
    // The singleton, made at the first call and never destroyed.
    static MonitoringThread& GetInstance();

    // Loads the slots of all cards that are present, on the caller's thread, and starts the watch.
    // Throws std::system_error when the thread cannot be started.
    void Start();

    // Tells the thread to end at the end of its wait, within half a second.
    void Stop();

    // Waits for the thread to end; nothing to do when none was ever started. Throws std::system_error when
    // the thread was joined already (invalid argument) or is the caller (resource deadlock would occur).
    void Join();

private:
    MonitoringThread() = default;

    void DoMonitoring(uint32_t timeout);

    std::unique_ptr<OwnThread> thread;
    uint32_t processId = 0; // of the process that started the thread
    std::atomic<bool> running{false};
};
