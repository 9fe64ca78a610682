// Runs a command without a trace in the host: no signal and no status of a child process ever reaches it, and
// no descriptor of its reaches the command.
//
// The host's own handling of child processes is kept out of it by a helper process that is cloned without a
// signal for its end: neither SIGCHLD nor a wait for just any child tells of it. A program that it became
// would get that signal back, so the helper stays a copy of the host, and makes the command as its own child.
// The listing, which is built in, the helper writes itself: each process more is a copy of the host's pages.
// Between clone and exec there are system calls only, since other threads of the host may have held any lock
// at that moment. What the command has not written within its second is lost, and a command that is still
// running then is ended.
#include "src/platform/linux/descriptor_place.h"
#include "src/platform/linux/os_listing.h"
#include "src/platform/linux/signals_held_back.h"
#include "src/platform/platform.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string_view>

namespace {

constexpr std::size_t mostOutput = 1023; // bytes
constexpr timeval longestRun{1, 0};
constexpr std::size_t kernelSignalSetSize = 8; // bytes
constexpr int noSuchCommand = 127;

// Built in: a shell and the programs that it would start for it take thirty times as long.
constexpr std::string_view listingCommand = "os-listing";

struct Command
{
    std::string_view line;
    std::string_view language; // the name of the host's
    const char* const* arguments;
    const char* const* environment;
};

class Descriptor
{
public:
    explicit Descriptor(int opened) : number(OutOfTheWay(opened)) {}
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int Number() const { return number; }
    void Close()
    {
        if (number >= 0) {
            close(number);
        }
        number = -1;
    }

private:
    int number;
};

// A copy of this process with the calling thread alone, which signals its end in this way, or with 0 not at
// all.
long CloneProcess(unsigned long signalOfEnd)
{
    return syscall(SYS_clone, signalOfEnd, nullptr, nullptr, nullptr, 0UL);
}

[[noreturn]] void Leave(int status)
{
    for (;;) {
        syscall(SYS_exit_group, status);
    }
}

// In the command's process.
[[noreturn]] void BecomeCommand(const Command& command)
{
    const uint64_t none = 0;
    syscall(SYS_setsid);
    syscall(SYS_rt_sigprocmask, SIG_SETMASK, &none, nullptr, kernelSignalSetSize);
    syscall(SYS_execve, command.arguments[0], command.arguments, command.environment);
    Leave(noSuchCommand);
}

void KeepOnlyOutput(int output)
{
    // Out of the way of the three places first, where a host without standard streams may have it.
    const auto moved = syscall(SYS_fcntl, output, F_DUPFD, firstOwnDescriptor);
    const auto nothing = syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR, 0);
    syscall(SYS_dup3, nothing, STDIN_FILENO, 0);
    syscall(SYS_dup3, moved, STDOUT_FILENO, 0);
    syscall(SYS_dup3, moved, STDERR_FILENO, 0);
    if (syscall(SYS_close_range, firstOwnDescriptor, ~0U, 0) != 0) {
        for (long descriptor = firstOwnDescriptor; descriptor < sysconf(_SC_OPEN_MAX); ++descriptor) {
            syscall(SYS_close, descriptor);
        }
    }
}

constexpr uint64_t SetOf(int signal)
{
    return uint64_t{1} << (signal - 1);
}

void HandleAsByDefault(int signal)
{
    // As the kernel has it: the default handling, without flags, restorer and mask.
    constexpr std::array<unsigned long, 4> defaultHandling{};
    syscall(SYS_rt_sigaction, signal, defaultHandling.data(), nullptr, kernelSignalSetSize);
}

// A file system that does not answer is waited for as long as a command is: the alarm ends the helper.
void ListInHelper(std::string_view language)
{
    HandleAsByDefault(SIGALRM);
    const uint64_t alarm = SetOf(SIGALRM);
    syscall(SYS_rt_sigprocmask, SIG_UNBLOCK, &alarm, nullptr, kernelSignalSetSize);
    const itimerval timer{{0, 0}, longestRun};
    syscall(SYS_setitimer, ITIMER_REAL, &timer, nullptr);
    WriteOsListing(STDOUT_FILENO, language);
}

void RunInHelper(const Command& itsCommand)
{
    HandleAsByDefault(SIGCHLD);

    // What the command leaves behind comes to the helper, and not to a host that collects orphans.
    syscall(SYS_prctl, PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);

    const long command = CloneProcess(SIGCHLD);
    if (command == 0) {
        BecomeCommand(itsCommand);
    }
    if (command > 0) {
        constexpr uint64_t endOfChild = SetOf(SIGCHLD);
        constexpr timespec longestWait{longestRun.tv_sec, 0};
        syscall(SYS_rt_sigtimedwait, &endOfChild, nullptr, &longestWait, kernelSignalSetSize);
        syscall(SYS_kill, -command, SIGKILL);
        syscall(SYS_kill, command, SIGKILL);
        syscall(SYS_wait4, command, nullptr, 0, nullptr);
        while (syscall(SYS_wait4, -command, nullptr, 0, nullptr) > 0) {
        }
    }
}

// In the helper's process.
[[noreturn]] void BecomeHelper(int output, const Command& command)
{
    KeepOnlyOutput(output);
    if (command.line == listingCommand) {
        ListInHelper(command.language);
    } else {
        RunInHelper(command);
    }
    Leave(0);
}

// The name of the host's language.
std::string HostLanguage()
{
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = secure_getenv(name);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    return {};
}

} // namespace

const char* Platform::OsListingCommand()
{
    return listingCommand.data();
}

void Platform::RunCommandCaptureOutput(const char* commandLine, std::string& output)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    const Descriptor readEnd(ends[0]);
    Descriptor writeEnd(ends[1]);
    if (readEnd.Number() < 0 || writeEnd.Number() < 0) {
        return;
    }
    fcntl(writeEnd.Number(), F_SETFL, 0); // only the reading must not wait

    // Nothing of the host's but the name of its language, so that neither its search paths nor its preloads
    // reach the command. The command itself speaks C: a shell complains of a locale that isn't there.
    const std::string language = HostLanguage();
    const std::string languageVariable = "HOST_LANGUAGE=" + language;
    const std::array<const char*, 4> environment{"PATH=/usr/bin:/bin", "LC_ALL=C", languageVariable.c_str(),
                                                 nullptr};
    const std::array<const char*, 4> arguments{"/bin/sh", "-c", commandLine, nullptr};

    const Command command{commandLine, language, arguments.data(), environment.data()};

    long helper = 0;
    {
        const SignalsHeldBack heldBack(AllSignals());
        helper = CloneProcess(0);
        if (helper == 0) {
            BecomeHelper(writeEnd.Number(), command);
        }
    }
    if (helper < 0) {
        return;
    }
    writeEnd.Close();
    while (waitpid(static_cast<pid_t>(helper), nullptr, static_cast<int>(__WCLONE)) < 0 && errno == EINTR) {
    }
    std::array<char, mostOutput + 1> text{};
    if (read(readEnd.Number(), text.data(), mostOutput) >= 0) {
        output = text.data();
    } else {
        output.append("error: ").append(std::to_string(errno));
    }
}
