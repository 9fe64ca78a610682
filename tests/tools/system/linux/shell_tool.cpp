#include "tests/tools/system/linux/shell_tool.h"

#include "tests/support/command_pipe.h"

#include <array>
#include <cstdio>
#include <stdexcept>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int ExitCode(int status)
{
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string Command(const std::string& arguments, const std::string& before, const std::string& behind)
{
    return before + " " + LOG_TOOL + " " + arguments + " " + behind;
}

std::string WithoutReturns(std::string text)
{
    std::erase(text, '\r');
    return text;
}

[[noreturn]] void Become(const std::string& command)
{
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
}

} // namespace

ToolRun RunToolInShell(const std::string& arguments, const std::string& before, const std::string& behind)
{
    const std::string command = Command(arguments, before, behind) + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r"); // NOLINT(cert-env33-c): the commands are constants of the tests
    ToolRun run;
    run.output = blackbox::ReadPipe(pipe, command);
    run.exitCode = ExitCode(pclose(pipe));
    return run;
}

ToolRun RunToolOnTerminal(const std::string& arguments, unsigned short columns, const std::string& before)
{
    const std::string command = Command(arguments, before, "");
    winsize size{};
    size.ws_col = columns;
    size.ws_row = 24;
    int terminal = -1;
    const pid_t process = forkpty(&terminal, nullptr, nullptr, &size);
    if (process == 0) {
        Become(command);
    }
    if (process < 0) {
        throw std::runtime_error("no terminal");
    }
    ToolRun run;
    std::array<char, 4096> block{};
    // The end of the last process on a terminal is a failed read.
    for (ssize_t got = 0; (got = read(terminal, block.data(), block.size())) > 0;) {
        run.output.append(block.data(), static_cast<size_t>(got));
    }
    int status = 0;
    waitpid(process, &status, 0);
    close(terminal);
    run.exitCode = ExitCode(status);
    run.output = WithoutReturns(run.output);
    return run;
}
