// The background threads of the library: they keep the store in step with the readers.
#pragma once

#include "src/platform/mutex.h"
#include "src/platform/never_destroyed.h"
#include "src/platform/own_thread.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>

class MonitoringThread
{
public:
    // The singleton, made at the first call and never destroyed.
    static MonitoringThread& GetInstance();

    // Loads the slots of all cards that are present, on the caller's thread, and starts a watch. One that is
    // running already, because two threads start the library at once, goes on beside it.
    // Throws what the card side and its events throw, and std::system_error when the thread cannot be
    // started; there is no further watch then.
    void Start() EXCLUDES(watchLock);

    // Tells the watches to end at the end of their wait, within half a second.
    void Stop();

    // Waits for every watch that was started to end; nothing to do when none ever was. Throws
    // std::system_error when all were joined already (invalid argument) or one of them is the caller
    // (resource deadlock would occur).
    void Join() EXCLUDES(watchLock);

private:
    friend class NeverDestroyed<MonitoringThread>;
    MonitoringThread() = default;

    using Watches = std::list<std::unique_ptr<OwnThread>>;

    void DoMonitoring(uint32_t timeout);

    // A forked child has the objects but not the threads, and would wait for them for ever.
    void ForgetWatchesOfParent() REQUIRES(watchLock);

    Mutex watchLock;                       // never held across a wait or a card call
    Watches watches GUARDED_BY(watchLock); // those that were started and not joined yet
    bool everStarted GUARDED_BY(watchLock) = false;
    uint32_t processId GUARDED_BY(watchLock) = 0; // of the process that started the watches

    std::atomic<bool> running{false};
};
