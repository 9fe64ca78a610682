#include "tools/tavrik-setup/doctor/system/linux/child.h"

#include "softcard/system/linux/file_descriptor.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace setup {
namespace {

using nlohmann::json;
using softcard::FileDescriptor;
using Clock = std::chrono::steady_clock;

constexpr size_t longestAnswer = 1048576;

// What libraries print must not get among what this program prints.
void SilenceOutput()
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) {
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
    }
}

[[noreturn]] void AnswerAndEnd(int target, const std::function<json()>& make)
{
    SilenceOutput();
    int exitCode = EXIT_SUCCESS;
    try {
        const std::string text = make().dump(-1, ' ', true, json::error_handler_t::replace);
        std::string_view rest = text;
        while (!rest.empty()) {
            const ssize_t written = write(target, rest.data(), rest.size());
            if (written < 0 && errno != EINTR) {
                break;
            }
            rest.remove_prefix(written < 0 ? 0 : static_cast<size_t>(written));
        }
    } catch (const std::exception&) {
        exitCode = EXIT_FAILURE;
    }
    _exit(exitCode); // without what libraries do at the end of a process
}

// False when the time is over before the end, and when there is too much.
bool ReadAnswer(int source, Clock::time_point deadline, std::string& text)
{
    std::array<char, 4096> block{};
    while (text.size() < longestAnswer) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd readable{source, POLLIN, 0};
        if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) == 0) {
            return false;
        }
        const ssize_t length = read(source, block.data(), block.size());
        if (length == 0 || (length < 0 && errno != EINTR)) {
            return true;
        }
        text.append(block.data(), length < 0 ? 0 : static_cast<size_t>(length));
    }
    return false; // it would wait for somebody to read the rest
}

int AwaitChild(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

} // namespace

LookAnswer AskChild(std::chrono::seconds longest, const std::function<json()>& make)
{
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const FileDescriptor source(ends[0]);
    FileDescriptor target(ends[1]);
    const pid_t child = fork();
    if (child == 0) {
        AnswerAndEnd(target.Get(), make);
    }
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    target = FileDescriptor();
    std::string text;
    const bool isInTime = ReadAnswer(source.Get(), Clock::now() + longest, text);
    if (!isInTime) {
        kill(child, SIGKILL);
    }
    const int status = AwaitChild(child);
    if (!isInTime) {
        return {nullptr, "gave no answer within " + std::to_string(longest.count()) + " seconds"};
    }
    if (WIFSIGNALED(status)) {
        return {nullptr, std::string("crashed (signal ") + std::to_string(WTERMSIG(status)) + ")"};
    }
    json value = json::parse(text, nullptr, false);
    if (value.is_discarded()) {
        return {nullptr, "gave no answer"};
    }
    return {std::move(value), {}};
}

} // namespace setup
