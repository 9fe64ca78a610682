// Other programs, run and listened to.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace setup {

struct ProgramResult
{
    int exitCode = -1;  // -1 when it did not end by itself
    std::string output; // standard output and standard error, the first 64 KiB
    bool inTime = true;
};

// Runs the program with this input, and waits for its end, no longer than that. Throws Refusal when it cannot be started.
ProgramResult RunProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                         std::chrono::seconds longest, const std::string& input = {});

} // namespace setup
