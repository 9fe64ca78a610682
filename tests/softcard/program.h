// Other programs, run to their end.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace softcard::test {

struct Finished
{
    int exitCode; // -1 when a signal ended it
    std::string output;
    std::string errors;
};

// The first argument is the program, looked for on the PATH when it has no slash.
Finished RunProgram(const std::vector<std::string>& arguments);

// Started without waiting, its output where ours goes or to the given descriptor; AwaitProgram gives the exit
// code.
pid_t StartProgram(const std::vector<std::string>& arguments);
pid_t StartProgram(const std::vector<std::string>& arguments, int output);
int AwaitProgram(pid_t process);

} // namespace softcard::test
