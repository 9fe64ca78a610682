// System calls that the kernel refuses.
#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <functional>
#include <system_error>
#include <thread>
#include <vector>

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

namespace blackbox {

// From now on each of these calls fails with `error`, on this thread and in all that it starts. On x86-64 alone,
// whose numbers they are.
inline void RefuseCalls(const std::vector<unsigned>& calls, unsigned error)
{
    const auto count = static_cast<unsigned char>(calls.size());
    std::vector<sock_filter> program{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AUDIT_ARCH_X86_64, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    for (unsigned char i = 0; i < count; ++i) {
        const auto toTheRefusal = static_cast<unsigned char>(count - i);
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, calls[i], toTheRefusal, 0));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | (error & SECCOMP_RET_DATA)));
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        throw std::system_error(errno, std::generic_category(), "the filter of system calls");
    }
}

// Does the work on a thread of its own, to which each of these calls fails with `error`. What the work throws is
// thrown here.
inline void DoWithRefusedCalls(const std::vector<unsigned>& calls, unsigned error,
                               const std::function<void()>& work)
{
    std::exception_ptr thrown;
    std::thread([&] {
        try {
            RefuseCalls(calls, error);
            work();
        } catch (...) {
            thrown = std::current_exception();
        }
    }).join();
    if (thrown != nullptr) {
        std::rethrow_exception(thrown);
    }
}

} // namespace blackbox
