// A thread of the library.
#pragma once

#include <functional>
#include <memory>

// Like std::thread, but for two things: `Join` also works inside the unload notification, where some systems
// let no thread come to its end; and the thread takes none of the host's signals, where a system has signals.
class OwnThread
{
public:
    // Runs `body` in a new thread. Throws std::system_error when there can be none.
    explicit OwnThread(std::function<void()> body);

    // To be called after Join only.
    ~OwnThread();

    OwnThread(const OwnThread&) = delete;
    OwnThread& operator=(const OwnThread&) = delete;

    // Waits for the end of `body`; when it returns, the thread is in no code of the library any more. Throws
    // std::system_error when the thread was joined already (invalid argument) or is the caller (resource
    // deadlock would occur).
    void Join();

private:
    struct State;
    std::unique_ptr<State> state;
};
