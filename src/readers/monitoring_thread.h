// The background threads of the library: they keep the store in step with the readers.
#pragma once

#include "src/card/card_api.h"
#include "src/platform/own_thread.h"
#include "src/store/internal_cache.h"

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <string>

class MonitoringThread
{
public:
    // The singleton, made at the first call and never destroyed.
    static MonitoringThread& GetInstance();

    // Loads the slots of all cards that are present, on the caller's thread, and starts a watch. One that is
    // running already, because two starts of the library met, goes on beside it.
    // Throws what the card side and its events throw, and std::system_error when the thread cannot be
    // started; there is no further watch then.
    void Start();

    // Tells the watches to end at the end of their wait, within half a second.
    void Stop();

    // Waits for every watch that was started to end; nothing to do when none ever was. Throws
    // std::system_error when all were joined already (invalid argument) or one of them is the caller
    // (resource deadlock would occur).
    void Join();

private:
    MonitoringThread() = default;

    using Watches = std::list<std::unique_ptr<OwnThread>>;

    void DoMonitoring(uint32_t timeout);

    // A forked child has the objects but not the threads, and would wait for them for ever. The caller holds
    // the lock.
    void ForgetWatchesOfParent();

    std::mutex watchLock; // of the three below; never held across a wait or a card call
    Watches watches;      // those that were started and not joined yet
    bool everStarted = false;
    uint32_t processId = 0; // of the process that started the watches

    std::atomic<bool> running{false};
};
