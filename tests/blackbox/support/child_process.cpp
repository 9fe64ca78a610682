#include "child_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace BlackBox {

int ExitOfChild(const std::function<void()>& body, std::chrono::milliseconds limit)
{
    static_cast<void>(std::fflush(nullptr));
    const pid_t child = fork();
    if (child == 0) {
        body();
        std::exit(0); // NOLINT(concurrency-mt-unsafe): the end of the process is what is tested
    }
    const auto deadline = std::chrono::steady_clock::now() + limit;
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return -2;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string OutputOf(const std::string& command)
{
    FILE* pipe = popen(command.c_str(), "r"); // NOLINT(cert-env33-c): the commands are constants of the tests
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string output;
    std::array<char, 4096> block{};
    size_t got = 0;
    while ((got = fread(block.data(), 1, block.size(), pipe)) > 0) {
        output.append(block.data(), got);
    }
    if (pclose(pipe) != 0) {
        throw std::runtime_error("failed: " + command);
    }
    return output;
}

} // namespace BlackBox
