// The door to the library: one thread at a time is behind it. A thread can say that it may stay long, because
// the card's keyboard may come up; whoever has a copy to answer from then need not wait.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace front {

class Gate
{
public:
    enum class Stay
    {
        brief,
        mayBeLong
    };

    // Waits for its turn.
    void Enter(Stay stay);

    // Waits for brief stays alone. False when somebody may stay long.
    bool EnterUnlessLong(Stay stay = Stay::brief);

    // The same for a fork, which the thread behind the gate may be doing itself: false then, too.
    bool EnterForFork();

    void Leave();

private:
    std::mutex mutex;
    std::condition_variable left;
    bool taken = false;
    bool takenForLong = false;
    std::thread::id holder;
};

// A stay behind the gate.
class GateStay
{
public:
    GateStay(Gate& entered, Gate::Stay stay) : gate(entered) { gate.Enter(stay); }
    ~GateStay() { gate.Leave(); }
    GateStay(const GateStay&) = delete;
    GateStay& operator=(const GateStay&) = delete;

private:
    Gate& gate;
};

// A stay that is given up when it would mean waiting long.
class GateAttempt
{
public:
    GateAttempt(Gate& tried, Gate::Stay stay) : gate(tried), entered(gate.EnterUnlessLong(stay)) {}
    ~GateAttempt()
    {
        if (entered) {
            gate.Leave();
        }
    }
    GateAttempt(const GateAttempt&) = delete;
    GateAttempt& operator=(const GateAttempt&) = delete;

    explicit operator bool() const { return entered; }

private:
    Gate& gate;
    bool entered;
};

} // namespace front
