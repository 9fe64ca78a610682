// Points that are tried in child processes, so that one that crashes or hangs is told of and the next one is tried.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace faults {

// What a child tells its parent as it goes on; both see it.
class Progress
{
public:
    static Progress& Shared();

    void BeginPoint(std::size_t index, const std::string& what);
    void Tell(const std::string& what); // a finding at the point at work; printed too

    std::atomic<uint64_t> point; // its index
    std::atomic<uint64_t> tried;
    std::atomic<uint64_t> missed; // the fault did not come to pass
    std::atomic<uint64_t> findings;
    std::atomic<uint64_t> seconds; // counts on with every sign of life
    std::atomic<bool> finished;
    char text[256];
};

enum class PointResult
{
    tried,
    missed,
    last // the process is not good for another point, and not for a search for leaks
};

// Some points of one kind, each tried by its index, in a process that Begin has prepared. Begin gives their number.
struct Points
{
    std::string name;
    std::function<std::size_t()> begin;
    std::function<std::string(std::size_t index)> text;
    std::function<PointResult(std::size_t index)> attempt;
    std::size_t inOneProcess = 200;
};

struct Choice
{
    bool all = false;
    std::size_t most = 0; // so many, spread evenly; with 0, all
    unsigned seed = 0;    // where they begin
    std::string only;     // when it is not empty: points whose name and text have this part
};

struct Tally
{
    uint64_t tried = 0;
    uint64_t missed = 0;
    uint64_t findings = 0;
};

// The indexes of so many of the points, spread evenly from a place that the seed gives; of all of them with 0.
std::vector<std::size_t> Spread(std::size_t count, std::size_t most, unsigned seed);

// Tries the points. A child that shows no sign of life for two minutes is ended and counts as a finding.
Tally TryPoints(const Points& points, const Choice& choice);

} // namespace faults
