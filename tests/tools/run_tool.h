// Runs tavrik-log.
#pragma once

#include <string>

#include <sys/types.h>

struct ToolRun
{
    int exitCode = -1;
    std::string output; // standard output and standard error
};

// Through a shell, with the arguments as they would be typed; `before` stands in front of the program,
// `behind` after the arguments.
ToolRun RunTool(const std::string& arguments, const std::string& before = "", const std::string& behind = "");

// With a terminal of so many columns; "\r\n" is given as "\n".
ToolRun RunToolOnTerminal(const std::string& arguments, unsigned short columns,
                          const std::string& before = "");

// Started with --follow and a pipe for its output. Interrupted and awaited at its end.
class FollowingTool
{
public:
    explicit FollowingTool(const std::string& arguments);
    ~FollowingTool();
    FollowingTool(const FollowingTool&) = delete;
    FollowingTool& operator=(const FollowingTool&) = delete;

    // What has come, once it holds the text; what came within ten seconds when it does not.
    std::string ReadUntil(const std::string& text);

    // Ends it like a person at the keyboard and gives its exit code; the output that is left is then what
    // ReadUntil gives.
    int Interrupt();

    // Closes the reading end of the pipe, and gives the exit code.
    int CloseReader();

private:
    int Await();

    pid_t process = -1;
    int reading = -1;
    std::string output;
};
