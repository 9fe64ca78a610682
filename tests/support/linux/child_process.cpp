#include "tests/support/linux/child_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace blackbox {

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

} // namespace blackbox
