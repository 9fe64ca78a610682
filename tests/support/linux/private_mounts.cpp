#include "tests/support/linux/private_mounts.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace blackbox {
namespace {

void Require(int answer, const char* what)
{
    if (answer != 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

} // namespace

std::string WhyNoPrivateMounts()
{
    static const std::string reason = [] {
        const pid_t child = fork();
        if (child == 0) {
            try {
                EnterPrivateMounts();
                _exit(0);
            } catch (const std::system_error& error) {
                _exit(error.code().value());
            }
        }
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
            throw std::runtime_error("a child that tries mounts has not ended as it should");
        }
        const int error = WEXITSTATUS(status);
        return error == 0
                   ? std::string()
                   : std::string("SKIPPED: no mounts of its own for the test: ") + strerrordesc_np(error);
    }();
    return reason;
}

void EnterPrivateMounts()
{
    const auto user = getuid();
    Require(unshare(user == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER), "unshare");
    if (user != 0) {
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    }
    Require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "private mounts");
}

void MountMemory(const std::filesystem::path& folder, size_t size)
{
    const std::string options = "size=" + std::to_string(size);
    Require(mount("none", folder.c_str(), "tmpfs", 0, options.c_str()), "tmpfs");
}

void ReplaceDevices(const std::filesystem::path& folder)
{
    MountMemory(folder, 65536);
    for (const char* device : {"null", "zero", "random", "urandom"}) {
        std::ofstream(folder / device).close();
        Require(mount(("/dev/" + std::string(device)).c_str(), (folder / device).c_str(), nullptr, MS_BIND,
                      nullptr),
                device);
    }
    Require(mount(folder.c_str(), "/dev", nullptr, MS_MOVE, nullptr), "/dev");
}

} // namespace blackbox
