// Runs tavrik-log.
#pragma once

#include <memory>
#include <string>
#include <vector>

struct ToolRun
{
    int exitCode = -1;
    std::string output; // standard output, and standard error behind it
};

ToolRun RunTool(const std::vector<std::string>& arguments);

// Started with --follow and a pipe for its output. Ended and awaited at its end.
class FollowingTool
{
public:
    explicit FollowingTool(std::vector<std::string> arguments);
    ~FollowingTool();
    FollowingTool(const FollowingTool&) = delete;
    FollowingTool& operator=(const FollowingTool&) = delete;

    // What has come, once it holds the text; what came within ten seconds when it does not.
    std::string ReadUntil(const std::string& text);

    // Ends it like a person at the keyboard and gives its exit code; the output that is left is then what
    // ReadUntil gives. On Linux only: Wine has no console without a terminal, and tests/windows/console_test.py interrupts
    // it there.
    int Interrupt();

    // Closes the reading end of the pipe, and gives the exit code.
    int CloseReader();

private:
    struct Running;
    std::unique_ptr<Running> running;
    std::string output;
};
