#include "tests/support/linux/program_output.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace softcard::test {
namespace {

pid_t Spawn(const std::vector<std::string>& arguments, posix_spawn_file_actions_t* actions)
{
    std::vector<char*> values;
    values.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        values.push_back(const_cast<char*>(argument.c_str()));
    }
    values.push_back(nullptr);
    pid_t process = 0;
    const int error = posix_spawnp(&process, values[0], actions, nullptr, values.data(), environ);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), arguments.front());
    }
    return process;
}

// A file that takes what a program says, and goes with the object.
class Catcher
{
public:
    Catcher()
    {
        std::string name = (std::filesystem::temp_directory_path() / "softcard-output-XXXXXX").string();
        file = mkostemp(name.data(), O_CLOEXEC);
        if (file < 0) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        path = name;
    }
    ~Catcher()
    {
        close(file);
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    Catcher(const Catcher&) = delete;
    Catcher& operator=(const Catcher&) = delete;
    Catcher(Catcher&&) = delete;
    Catcher& operator=(Catcher&&) = delete;

    void Attach(posix_spawn_file_actions_t& actions, int descriptor) const
    {
        posix_spawn_file_actions_adddup2(&actions, file, descriptor);
    }
    [[nodiscard]] std::string Content() const
    {
        std::ifstream content(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(content), {}};
    }

private:
    int file;
    std::filesystem::path path;
};

} // namespace

Finished RunProgram(const std::vector<std::string>& arguments)
{
    return RunProgramOn({}, arguments);
}

Finished RunProgramOn(const std::filesystem::path& input, const std::vector<std::string>& arguments)
{
    const Catcher output;
    const Catcher errors;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!input.empty()) {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.c_str(), O_RDONLY, 0);
    }
    output.Attach(actions, STDOUT_FILENO);
    errors.Attach(actions, STDERR_FILENO);
    const pid_t process = Spawn(arguments, &actions);
    posix_spawn_file_actions_destroy(&actions);
    const int exitCode = AwaitProgram(process);
    return {exitCode, output.Content(), errors.Content()};
}

Process StartProgram(const std::vector<std::string>& arguments)
{
    return Spawn(arguments, nullptr);
}

Process StartProgram(const std::vector<std::string>& arguments, int output)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    const pid_t process = Spawn(arguments, &actions);
    posix_spawn_file_actions_destroy(&actions);
    return process;
}

int AwaitProgram(Process process)
{
    int status = 0;
    while (waitpid(static_cast<pid_t>(process), &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "waitpid");
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool StillRuns(Process process)
{
    siginfo_t ended{};
    return waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0;
}

void KillProgram(Process process)
{
    kill(static_cast<pid_t>(process), SIGKILL);
}

std::filesystem::path OwnProgram()
{
    return "/proc/self/exe";
}

} // namespace softcard::test
