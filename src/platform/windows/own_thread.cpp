// A thread that can be joined while the loader's lock is held. A thread needs that lock for its first and its
// last steps, so one that is waited for inside the unload notification neither begins nor ends. So each
// thread has begun when it is handed out, stops before its last steps, says that it has done its work, and
// goes on only when told to; inside the notification it is ended where it stands, with no lock in its hands.
#include "src/platform/own_thread.h"
#include "src/platform/windows/unloading.h"

#include <windows.h>

#include <process.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

struct OwnThread::State
{
    explicit State(std::function<void()> work)
        : body(std::move(work)), begun(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          done(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          mayEnd(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
    }
    ~State()
    {
        for (HANDLE handle : {begun, done, mayEnd, thread}) {
            if (handle != nullptr) {
                CloseHandle(handle);
            }
        }
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    static unsigned __stdcall Run(void* argument)
    {
        auto* state = static_cast<State*>(argument);
        SetEvent(state->begun);
        state->body();
        SetEvent(state->done);
        WaitForSingleObject(state->mayEnd, INFINITE);
        return 0;
    }

    std::function<void()> body;
    HANDLE begun;
    HANDLE done;
    HANDLE mayEnd;
    HANDLE thread = nullptr;
    unsigned identifier = 0;
};

OwnThread::OwnThread(std::function<void()> body) : state(std::make_unique<State>(std::move(body)))
{
    if (state->begun != nullptr && state->done != nullptr && state->mayEnd != nullptr) {
        state->thread = reinterpret_cast<HANDLE>(
            _beginthreadex(nullptr, 0, &State::Run, state.get(), 0, &state->identifier));
    }
    if (state->thread == nullptr) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    }
    // Its first steps need the loader's lock as well.
    WaitForSingleObject(state->begun, INFINITE);
}

OwnThread::~OwnThread() = default;

void OwnThread::Join()
{
    if (state->thread == nullptr) {
        throw std::system_error(std::make_error_code(std::errc::invalid_argument));
    }
    if (state->identifier == GetCurrentThreadId()) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
    // At the end of the process the thread has gone already, without a word.
    const std::array<HANDLE, 2> ends{state->done, state->thread};
    WaitForMultipleObjects(static_cast<DWORD>(ends.size()), ends.data(), FALSE, INFINITE);
    if (libraryIsUnloading) {
        TerminateThread(state->thread, 0);
    } else {
        SetEvent(state->mayEnd);
    }
    WaitForSingleObject(state->thread, INFINITE);
    CloseHandle(std::exchange(state->thread, nullptr));
}
