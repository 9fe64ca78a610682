// The calling thread's signals, which wait for a while.
#pragma once

#include <csignal>
#include <initializer_list>

// As long as this lives, the calling thread takes none of the signals. A thread that it starts meanwhile never
// takes them, unless it sets a mask of its own.
class SignalsHeldBack
{
public:
    explicit SignalsHeldBack(const sigset_t& held) { pthread_sigmask(SIG_BLOCK, &held, &before); }
    ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

private:
    sigset_t before{};
};

inline sigset_t AllSignals()
{
    sigset_t signals;
    sigfillset(&signals);
    return signals;
}

// All but those that a thread brings upon itself by a fault, which the host's handlers are to see: when such a
// signal is held back, the system ends the process instead.
inline sigset_t SignalsFromOutside()
{
    sigset_t signals = AllSignals();
    for (const int ofAFault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS}) {
        sigdelset(&signals, ofAFault);
    }
    return signals;
}
