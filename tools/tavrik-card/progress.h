// Shows progress of long work at a terminal.
#pragma once

#include "src/platform/mutex.h"

#include <condition_variable>
#include <string>
#include <thread>

namespace softcard {

// Turns a wheel on the standard error as long as it lives, and leaves no trace. Does nothing when the
// standard error is no terminal.
class Progress
{
public:
    Progress();
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    Progress(Progress&&) = delete;
    Progress& operator=(Progress&&) = delete;

    // What is shown beside the wheel from now on.
    void Tell(const std::string& next);

private:
    void Turn();

    Mutex mutex;
    std::condition_variable changed;
    bool ending GUARDED_BY(mutex) = false;
    std::string step GUARDED_BY(mutex);
    std::thread thread; // not joinable without a terminal
};

} // namespace softcard
