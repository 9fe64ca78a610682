// The system calls that some work makes.
#pragma once

#include <cerrno>
#include <csignal>
#include <functional>
#include <map>
#include <system_error>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace blackbox {

using CallCounts = std::map<unsigned long, int>; // by the number of the call

// Those of the work in a forked child, and a few that begin and end it. The work must not throw.
inline CallCounts CallsOf(const std::function<void()>& work)
{
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        static_cast<void>(raise(SIGSTOP));
        work();
        _exit(0);
    }
    CallCounts counts;
    int status = 0;
    while (waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD); // tells calls from signals
        __ptrace_syscall_info call{};
        ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof(call), &call);
        if (call.op == PTRACE_SYSCALL_INFO_ENTRY) {
            ++counts[call.entry.nr];
        }
        if (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0) {
            throw std::system_error(errno, std::generic_category(), "the child is not traced");
        }
    }
    return counts;
}

} // namespace blackbox
