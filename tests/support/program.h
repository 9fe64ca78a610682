// Other programs, run to their end.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace softcard::test {

struct Finished
{
    int exitCode; // -1 when a signal ended it
    std::string output;
    std::string errors;
};

// What the system knows a running program by.
using Process = std::intptr_t;

// The first argument is the program, looked for on the PATH when it has no slash.
Finished RunProgram(const std::vector<std::string>& arguments);

// The same with the content of a file as its standard input.
Finished RunProgramOn(const std::filesystem::path& input, const std::vector<std::string>& arguments);

// Started without waiting, its output where ours goes; AwaitProgram gives the exit code.
Process StartProgram(const std::vector<std::string>& arguments);
int AwaitProgram(Process process);

// Both before AwaitProgram.
bool StillRuns(Process process);
void KillProgram(Process process);

// The file of the program that runs this.
std::filesystem::path OwnProgram();

} // namespace softcard::test
