#include "tests/tools/run_tool.h"

#include <array>
#include <chrono>
#include <csignal>
#include <stdexcept>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

struct FollowingTool::Running
{
    // -1 when it was awaited before, or a signal ended it.
    int Await()
    {
        int status = 0;
        if (process <= 0) {
            return -1;
        }
        waitpid(process, &status, 0);
        process = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    pid_t process = -1;
    int reading = -1;
};

FollowingTool::FollowingTool(std::vector<std::string> arguments) : running(std::make_unique<Running>())
{
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        throw std::runtime_error("no pipe");
    }
    arguments.insert(arguments.begin(), {LOG_TOOL, "--follow"});
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        words.push_back(argument.data());
    }
    words.push_back(nullptr);
    running->process = fork();
    if (running->process == 0) {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        execv(LOG_TOOL, words.data());
        _exit(127);
    }
    close(ends[1]);
    running->reading = ends[0];
}

FollowingTool::~FollowingTool()
{
    Interrupt();
    CloseReader();
}

std::string FollowingTool::ReadUntil(const std::string& text)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (output.find(text) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
        pollfd ready{running->reading, POLLIN, 0};
        if (poll(&ready, 1, 100) <= 0) {
            continue;
        }
        std::array<char, 4096> block{};
        const ssize_t got = read(running->reading, block.data(), block.size());
        if (got <= 0) {
            break;
        }
        output.append(block.data(), static_cast<size_t>(got));
    }
    return output;
}

int FollowingTool::Interrupt()
{
    if (running->process > 0) {
        kill(running->process, SIGINT);
    }
    return running->Await();
}

int FollowingTool::CloseReader()
{
    if (running->reading >= 0) {
        close(running->reading);
        running->reading = -1;
    }
    return running->Await();
}
