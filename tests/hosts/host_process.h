// What a host does with its own process, and what it looks for there. Each function that begins with "Require" or "Await"
// throws std::runtime_error when it does not find it.
#pragma once

#include "softcard/base/secret.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace hosts {

inline constexpr std::array<int, 3> standardStreams{0, 1, 2};

// The descriptor for what fails: the standard error, or the copy that was kept of it.
int ErrorOutput();
void KeepErrorOutput();

// In the places of the standard streams there is nothing that could be written into or waited for. A file that
// another thread reads may stand there, and any file for the moment until that thread has moved it away: the system
// gives out the lowest place first.
void RequireFreePlacesOfStreams(const std::string& call);

// Runs it on a new thread with a stack of this size, and throws what it throws.
void RunOnStack(std::size_t bytes, const std::function<void()>& body);

// Counts how often a signal is taken, from when it is made on. Its handler interrupts system calls.
class SignalCount
{
public:
    explicit SignalCount(int signal);
    ~SignalCount();
    SignalCount(const SignalCount&) = delete;
    SignalCount& operator=(const SignalCount&) = delete;

    static inline std::atomic<int> taken{0};
    static inline std::atomic<int> byOthers{0}; // by another thread than the one that made this

private:
    int number;
    struct sigaction before
    {
    };
};

// Signals that the calling thread blocks as long as this lives, and that are sent to the process.
class BlockedSignals
{
public:
    explicit BlockedSignals(const std::array<int, 4>& signals);
    ~BlockedSignals();
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

    // Sends the signal a number of times, and gets it back each time, in this way.
    void RequireTakenBySigwait(int signal) const;
    void RequireReadFromSignalfd(int signal) const;

private:
    sigset_t blocked{};
    sigset_t before{};
    int file;
};

// There are other threads than the calling one, and each holds back every signal that comes from outside.
void RequireSignalsHeldBackByOthers();

std::size_t ThreadsOfProcess();

void AwaitCondition(const std::function<bool()>& condition, const std::string& otherwise);
void AwaitFile(const std::filesystem::path& file);
void AwaitSleep(pid_t thread); // of this process, in a pause of a given length

// The program must end with 0.
void RunToItsEnd(std::vector<std::string> arguments);

// A line of the standard input with a terminator, read byte by byte: a buffer would keep the code.
softcard::SecretText ReadCode();

} // namespace hosts
