// Allocations and threads of the module under test that fail when they are told to.
#pragma once

#include <cstdint>
#include <functional>

namespace faults {

// As long as one lives, the allocations of its thread are the module's, but for those inside the card layer. They always are
// in a thread that the module has started.
class ModuleAtWork
{
public:
    ModuleAtWork();
    ~ModuleAtWork();
    ModuleAtWork(const ModuleAtWork&) = delete;
    ModuleAtWork& operator=(const ModuleAtWork&) = delete;
};

// To be called first, in the thread that tests.
void BeginTesting();
// From now on the head of the log has no listing of the system, whose command takes most of the time of a start. For want of
// a pipe the module runs no command.
void LeaveCommandsOut();
// With 1, what the thread allocates is no longer the module's, and with -1 it is again. For ScriptedCard::OnPassage.
void LeaveModule(int change);

// What fails at its n-th time, once, counted from Arm on.
class Countdown
{
public:
    // `fired` is called as it fails, on the thread where it does. It must not allocate. None for counting alone.
    static Countdown& OfAllocations(); // operator new, and Botan's memory for secrets
    static Countdown& OfThreads();     // pthread_create answers EAGAIN

    void Arm(uint64_t failing, void (*whenFired)());
    uint64_t Disarm();         // how often it was called since
    [[nodiscard]] bool Hits(); // counts one; true when it is the one that fails
    [[nodiscard]] bool Fired() const { return hasFired; }

private:
    bool armed = false;
    bool hasFired = false;
    uint64_t count = 0;
    uint64_t target = 0;
    void (*fired)() = nullptr;
};

} // namespace faults
