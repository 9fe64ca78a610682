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
    void Tell(const std::string& step);

private:
    void Turn();

    std::mutex mutex_; // guards what follows
    std::condition_variable ended_;
    bool ending_ = false;
    std::string step_;
    std::thread thread_; // not joinable without a terminal
};

} // namespace softcard
