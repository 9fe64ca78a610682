// Any pinentry program, spoken to through pipes.
#include "softcard/cardapi/system/pinentry_program.h"

#include "softcard/cardapi/system/linux/system_path.h"
#include "softcard/cardapi/system/program_path.h"
#include "softcard/system/environment.h"
#include "softcard/system/linux/file_descriptor.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <string_view>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace softcard {
namespace {

constexpr std::chrono::seconds longestEnd{2}; // of a program that was told to end
constexpr std::chrono::milliseconds endPause{5};
constexpr int firstOther = 3; // descriptor behind the three that every program has

sigset_t BrokenPipeSignal()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    return signals;
}

// A program that dies while it is spoken to must not take the host with it, and the host's signal handling is
// its own.
class BrokenPipeBlock
{
public:
    BrokenPipeBlock()
    {
        const sigset_t signals = BrokenPipeSignal();
        pthread_sigmask(SIG_BLOCK, &signals, &before);
    }

    ~BrokenPipeBlock()
    {
        if (sigismember(&before, SIGPIPE) == 0) {
            const sigset_t signals = BrokenPipeSignal();
            const timespec noTime{};
            sigtimedwait(&signals, nullptr, &noTime);
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    // What the program gets.
    [[nodiscard]] sigset_t MaskOutside() const
    {
        sigset_t mask = before;
        sigdelset(&mask, SIGPIPE);
        return mask;
    }

    BrokenPipeBlock(const BrokenPipeBlock&) = delete;
    BrokenPipeBlock& operator=(const BrokenPipeBlock&) = delete;
    BrokenPipeBlock(BrokenPipeBlock&&) = delete;
    BrokenPipeBlock& operator=(BrokenPipeBlock&&) = delete;

private:
    sigset_t before{};
};

struct Pipe
{
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

// Not open when there can be none.
Pipe MakePipe()
{
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {};
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

// A running program, ended with the object whatever it does.
class PipedProgram : public ProgramLines
{
public:
    // Whether it was started, IsRunning tells.
    PipedProgram(const std::string& program, const sigset_t& mask)
    {
        Pipe toProgram = MakePipe();
        Pipe fromProgram = MakePipe();
        if (toProgram.readEnd.IsOpen() && fromProgram.readEnd.IsOpen()) {
            Spawn(program, mask, toProgram.readEnd, fromProgram.writeEnd);
        }
        input = std::move(toProgram.writeEnd);
        output = std::move(fromProgram.readEnd);
    }

    // An ended input ends a program that keeps to the protocol, and a lost output one that goes on talking.
    ~PipedProgram() override
    {
        input = FileDescriptor();
        output = FileDescriptor();
        const Deadline deadline = std::chrono::steady_clock::now() + longestEnd;
        while (IsRunning() && !HasEnded()) {
            if (std::chrono::steady_clock::now() >= deadline) {
                kill(process, SIGKILL);
                while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
                }
                return;
            }
            std::this_thread::sleep_for(endPause);
        }
    }

    PipedProgram(const PipedProgram&) = delete;
    PipedProgram& operator=(const PipedProgram&) = delete;
    PipedProgram(PipedProgram&&) = delete;
    PipedProgram& operator=(PipedProgram&&) = delete;

    [[nodiscard]] bool IsRunning() const { return process > 0; }

    [[nodiscard]] std::optional<SecretText> Read(Deadline deadline) override
    {
        while (true) {
            const auto end = std::find(said.begin(), said.end(), '\n');
            if (end - said.begin() > static_cast<std::ptrdiff_t>(longestAssuanLine)) {
                return std::nullopt;
            }
            if (end != said.end()) {
                SecretText line(said.begin(), end);
                said = SecretText(end + 1, said.end());
                return line;
            }
            if (!ReadMore(deadline)) {
                return std::nullopt;
            }
        }
    }

    [[nodiscard]] bool Write(std::string_view line) override
    {
        SecretText rest = MakeSecretText(line);
        rest.push_back('\n');
        const auto written = write(input.Get(), rest.data(), rest.size()); // shorter than the room in a pipe
        return written == static_cast<ssize_t>(rest.size());
    }

private:
    // With borrowed rights, the program belongs to the user who started the host, and runs with that user's rights.
    void Spawn(const std::string& program, const sigset_t& mask, const FileDescriptor& itsInput,
               const FileDescriptor& itsOutput)
    {
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, itsInput.Get(), STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&files, itsOutput.Get(), STDOUT_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&files, firstOther);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        const sigset_t brokenPipe = BrokenPipeSignal();
        posix_spawnattr_setsigmask(&attributes, &mask);
        posix_spawnattr_setsigdefault(&attributes, &brokenPipe);
        const int reset = HasBorrowedRights() ? POSIX_SPAWN_RESETIDS : 0;
        posix_spawnattr_setflags(&attributes,
                                 static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | reset));
        std::string name = program;
        const std::array<char*, 2> arguments{name.data(), nullptr};
        std::string path = std::string("PATH=") + systemPath;
        const std::array<char*, 2> cleanEnvironment{path.data(), nullptr};
        if (posix_spawn(&process, program.c_str(), &files, &attributes, arguments.data(),
                        HasBorrowedRights() ? cleanEnvironment.data() : environ) != 0) {
            process = 0;
        }
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&files);
    }

    // False at the end, and when nothing comes in time.
    [[nodiscard]] bool ReadMore(Deadline deadline)
    {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return false;
        }
        pollfd readable{output.Get(), POLLIN, 0};
        const int ready = poll(&readable, 1, static_cast<int>(left.count()));
        if (ready <= 0) {
            return ready < 0 && errno == EINTR;
        }
        SecretText bytes(longestAssuanLine);
        const ssize_t length = read(output.Get(), bytes.data(), bytes.size());
        if (length > 0) {
            said.insert(said.end(), bytes.begin(), bytes.begin() + length);
        }
        return length > 0 || (length < 0 && errno == EINTR);
    }

    // Also when the host has taken note of it before.
    [[nodiscard]] bool HasEnded() const { return waitpid(process, nullptr, WNOHANG) != 0; }

    pid_t process = 0;
    FileDescriptor input;  // what we write to
    FileDescriptor output; // what we read from
    SecretText said;       // and not yet read as a line
};

// The terminal and the language, for the programs that want to know.
std::vector<std::string> Options()
{
    std::vector<std::string> options;
    const auto add = [&options](const std::string& name, const std::string& value) {
        if (!value.empty() && value.find('\n') == std::string::npos) {
            options.push_back(name + "=" + value);
        }
    };
    std::array<char, 256> terminal{};
    std::string named = PathFromEnvironment("GPG_TTY");
    if (named.empty() && ttyname_r(STDIN_FILENO, terminal.data(), terminal.size()) == 0) {
        named = terminal.data();
    }
    add("ttyname", named);
    add("ttytype", PathFromEnvironment("TERM"));
    const std::string everything = PathFromEnvironment("LC_ALL");
    add("lc-ctype", everything.empty() ? PathFromEnvironment("LC_CTYPE").string() : everything);
    return options;
}

} // namespace

std::optional<SecretText> AskThroughProgram(const std::filesystem::path& program, const Question& question)
{
    const std::string found = FindProgram(program);
    if (found.empty()) {
        return std::nullopt;
    }
    const BrokenPipeBlock block;
    PipedProgram running(found, block.MaskOutside());
    return running.IsRunning() ? AskInAssuan(running, question, Options()) : std::nullopt;
}

std::optional<SecretText> AskWithoutChoice(const Question& question)
{
    return AskThroughProgram(UsualPinentry(), question);
}

} // namespace softcard
