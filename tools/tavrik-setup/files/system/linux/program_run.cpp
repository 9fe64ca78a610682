#include "tools/tavrik-setup/files/program_run.h"

#include "softcard/system/linux/file_descriptor.h"
#include "tools/tavrik-setup/files/refusal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace setup {
namespace {

using softcard::FileDescriptor;
using Clock = std::chrono::steady_clock;

constexpr size_t longestOutput = 65536;
constexpr int firstOther = 3; // descriptor behind the three that every program has

struct Pipe
{
    Pipe()
    {
        std::array<int, 2> ends{-1, -1};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        readEnd = FileDescriptor(ends[0]);
        writeEnd = FileDescriptor(ends[1]);
    }

    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

pid_t Spawn(const std::filesystem::path& program, std::vector<std::string> arguments, const Pipe& input,
            const Pipe& output)
{
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, input.readEnd.Get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, output.writeEnd.Get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, output.writeEnd.Get(), STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&files, firstOther);
    arguments.insert(arguments.begin(), program.filename().string());
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        words.push_back(argument.data());
    }
    words.push_back(nullptr);
    pid_t process = 0;
    const int error = posix_spawn(&process, program.c_str(), &files, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        throw Refusal(program.string() + " cannot be started: " + std::generic_category().message(error) +
                      ".");
    }
    return process;
}

// False when the time is over before the end of the output.
bool ReadToEnd(const FileDescriptor& output, Clock::time_point deadline, std::string& text)
{
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd readable{output.Get(), POLLIN, 0};
        if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) == 0) {
            return false;
        }
        std::array<char, 4096> block{};
        const ssize_t length = read(output.Get(), block.data(), block.size());
        if (length == 0 || (length < 0 && errno != EINTR)) {
            return true;
        }
        const size_t room = longestOutput - text.size();
        text.append(block.data(), std::min(room, length < 0 ? 0 : static_cast<size_t>(length)));
    }
}

int Await(pid_t process)
{
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

ProgramResult RunProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                         std::chrono::seconds longest, const std::string& input)
{
    Pipe toProgram;
    Pipe fromProgram;
    const Clock::time_point deadline = Clock::now() + longest;
    const pid_t process = Spawn(program, arguments, toProgram, fromProgram);
    fromProgram.writeEnd = FileDescriptor();
    // As much as a pipe takes without waiting; a program that does not read it is none of our troubles.
    static_cast<void>(!write(toProgram.writeEnd.Get(), input.data(), input.size()));
    toProgram.writeEnd = FileDescriptor();
    ProgramResult result;
    result.inTime = ReadToEnd(fromProgram.readEnd, deadline, result.output);
    if (!result.inTime) {
        kill(process, SIGKILL);
    }
    result.exitCode = Await(process);
    return result;
}

} // namespace setup
