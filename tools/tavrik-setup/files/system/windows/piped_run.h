// A program that is run to its end, within limits.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <windows.h>

namespace setup {

struct PipedRun
{
    DWORD exitCode = 0;
    std::string output; // its standard output, and its errors where they are wanted
    bool inTime = true; // false also for one that was ended for what it wrote
};

enum class Errors
{
    kept,
    dropped
};

// What becomes of a program that writes more than is kept.
enum class Excess
{
    dropped,
    endsProgram
};

struct PipedLimits
{
    std::chrono::seconds longest;
    size_t longestOutput; // bytes
    Excess excess;
};

// Starts the program without a window, with this input. One that does not come to its end in time is ended, and so are the
// programs that it has started. Throws Refusal when it cannot be started.
PipedRun RunPiped(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                  const PipedLimits& limits, const std::string& input, Errors errors);

} // namespace setup
