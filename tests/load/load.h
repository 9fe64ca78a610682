// Threads that use an application's sessions all at once while cards come and go, in rounds. Between two rounds everything
// is closed, and what the process holds is compared.
#pragma once

#include <chrono>
#include <filesystem>

namespace load {

struct Size
{
    std::chrono::seconds time{20}; // of all rounds
    unsigned rounds = 5;
    unsigned threads = 64;
    unsigned sessions = 10000; // open at once, together
    unsigned readers = 8;
    unsigned seed = 1;
};

// Prints a line for each round and one for all. False when a signature was lost, made twice or wrong, when a call answered
// what it must not, or when something has grown. Throws std::exception when the front does not start.
bool RunLoad(const Size& size);

} // namespace load
