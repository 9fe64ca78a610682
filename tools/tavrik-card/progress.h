// Signs of life during long work, for a person at a terminal.
#pragma once

#include <condition_variable>
#include <mutex>
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

    // What the wheel stands for from now on.
    void Tell(const std::string& next);

private:
    void Turn();

    std::mutex mutex; // guards what follows
    std::condition_variable ended;
    bool ending = false;
    std::string step;
    std::thread thread; // not joinable without a terminal
};

} // namespace softcard
