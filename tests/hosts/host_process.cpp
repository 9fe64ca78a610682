#include "tests/hosts/host_process.h"

#include "tests/hosts/card_client.h"
#include "tests/support/eventually.h"

#include <exception>
#include <fstream>
#include <iterator>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace hosts {
namespace {

constexpr int behindTheStreams = 100;
constexpr std::chrono::seconds momentOfAnotherThread(5);
constexpr std::chrono::seconds waitForSignal(30);
constexpr int sendings = 20;

int errorOutput = STDERR_FILENO;
pid_t countingThread = 0;

void TakeSignal(int /*signal*/)
{
    ++SignalCount::taken;
    SignalCount::byOthers += gettid() == countingThread ? 0 : 1;
}

struct OnThread
{
    const std::function<void()>& body;
    std::exception_ptr thrown;
};

void* RunBody(void* argument)
{
    auto& running = *static_cast<OnThread*>(argument);
    try {
        running.body();
    } catch (...) {
        running.thrown = std::current_exception();
    }
    return nullptr;
}

// Nothing stands in the place, or a file or folder that can only be read.
bool IsFreeOrRead(int stream)
{
    struct stat facts
    {
    };
    const int flags = fcntl(stream, F_GETFL);
    if (flags < 0 || fstat(stream, &facts) != 0) {
        return true;
    }
    return (flags & O_ACCMODE) == O_RDONLY && (S_ISREG(facts.st_mode) || S_ISDIR(facts.st_mode));
}

std::string FileOf(int descriptor)
{
    std::error_code gone;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), gone).string();
}

std::filesystem::path TaskFolder(pid_t thread)
{
    return std::filesystem::path("/proc/self/task") / std::to_string(thread);
}

// The signals as a row of bits, the first signal being the lowest.
uint64_t HeldBackBy(pid_t thread)
{
    std::ifstream status(TaskFolder(thread) / "status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.starts_with("SigBlk:")) {
            return std::stoull(line.substr(line.find('\t')), nullptr, 16);
        }
    }
    return 0;
}

std::vector<pid_t> Threads()
{
    std::vector<pid_t> threads;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        threads.push_back(std::stoi(task.path().filename().string()));
    }
    return threads;
}

} // namespace

int ErrorOutput()
{
    return errorOutput;
}

void KeepErrorOutput()
{
    errorOutput = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, behindTheStreams);
}

void RequireFreePlacesOfStreams(const std::string& call)
{
    for (const int stream : standardStreams) {
        Require(blackbox::Eventually([stream] { return IsFreeOrRead(stream); }, momentOfAnotherThread),
                call + " leaves " + FileOf(stream) + " in the place of stream " + std::to_string(stream));
    }
}

void RunOnStack(std::size_t bytes, const std::function<void()>& body)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    Require(pthread_attr_setstacksize(&attributes, bytes) == 0, "no such size of a stack");
    OnThread running{body, nullptr};
    pthread_t thread{};
    Require(pthread_create(&thread, &attributes, RunBody, &running) == 0, "no thread");
    pthread_attr_destroy(&attributes);
    pthread_join(thread, nullptr);
    if (running.thrown != nullptr) {
        std::rethrow_exception(running.thrown);
    }
}

SignalCount::SignalCount(int signal) : number(signal)
{
    countingThread = gettid();
    struct sigaction interrupting
    {
    };
    interrupting.sa_handler = TakeSignal; // and no SA_RESTART
    sigaction(signal, &interrupting, &before);
}

SignalCount::~SignalCount()
{
    sigaction(number, &before, nullptr);
}

BlockedSignals::BlockedSignals(const std::array<int, 4>& signals)
{
    sigemptyset(&blocked);
    for (const int signal : signals) {
        sigaddset(&blocked, signal);
    }
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    file = signalfd(-1, &blocked, SFD_CLOEXEC);
    Require(file >= 0, "no file for signals");
}

BlockedSignals::~BlockedSignals()
{
    close(file);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void BlockedSignals::RequireTakenBySigwait(int signal) const
{
    for (int turn = 0; turn < sendings; ++turn) {
        kill(getpid(), signal);
        const timespec limit{waitForSignal.count(), 0};
        Require(sigtimedwait(&blocked, nullptr, &limit) == signal,
                "signal " + std::to_string(signal) + " is lost");
    }
}

void BlockedSignals::RequireReadFromSignalfd(int signal) const
{
    for (int turn = 0; turn < sendings; ++turn) {
        kill(getpid(), signal);
        pollfd readable{file, POLLIN, 0};
        signalfd_siginfo facts{};
        Require(poll(&readable, 1, static_cast<int>(std::chrono::milliseconds(waitForSignal).count())) == 1 &&
                    read(file, &facts, sizeof facts) == static_cast<ssize_t>(sizeof facts) &&
                    facts.ssi_signo == static_cast<uint32_t>(signal),
                "signal " + std::to_string(signal) + " does not come to the file");
    }
}

void RequireSignalsHeldBackByOthers()
{
    constexpr std::array ofFaults{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGKILL, SIGSTOP};
    int others = 0;
    for (const pid_t thread : Threads()) {
        if (thread == gettid()) {
            continue;
        }
        ++others;
        const uint64_t heldBack = HeldBackBy(thread);
        for (int signal = 1; signal <= SIGRTMAX; ++signal) {
            const bool isOfTheSystem = signal >= __SIGRTMIN && signal < SIGRTMIN; // the C library's own
            const bool isFromOutside =
                std::find(ofFaults.begin(), ofFaults.end(), signal) == ofFaults.end() && !isOfTheSystem;
            Require(!isFromOutside || (heldBack >> (signal - 1) & 1U) != 0,
                    "a thread of the module takes signal " + std::to_string(signal));
        }
    }
    Require(others > 0, "the module has no thread");
}

std::size_t ThreadsOfProcess()
{
    return Threads().size();
}

void AwaitCondition(const std::function<bool()>& condition, const std::string& otherwise)
{
    Require(blackbox::Eventually(condition), otherwise);
}

void AwaitFile(const std::filesystem::path& file)
{
    AwaitCondition([&file] { return std::filesystem::exists(file); }, file.string() + " does not come");
}

void AwaitSleep(pid_t thread)
{
    const auto sleeps = [thread] {
        long call = 0;
        return std::ifstream(TaskFolder(thread) / "syscall") >> call && call == SYS_clock_nanosleep;
    };
    AwaitCondition(sleeps, "the thread does not pause");
}

void RunToItsEnd(std::vector<std::string> arguments)
{
    std::vector<char*> values;
    values.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        values.push_back(argument.data());
    }
    values.push_back(nullptr);
    pid_t process = 0;
    Require(posix_spawn(&process, values[0], nullptr, nullptr, values.data(), environ) == 0, "no process");
    int status = 0;
    waitpid(process, &status, 0);
    Require(status == 0, arguments.front() + " ends with " + std::to_string(status));
}

softcard::SecretText ReadCode()
{
    softcard::SecretText code;
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) == 1 && byte != '\n') {
        code.push_back(byte);
    }
    code.push_back('\0');
    return code;
}

} // namespace hosts
