#include "tools/tavrik-card/system/terminal.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace softcard {
namespace {

volatile std::sig_atomic_t signalThatCame = 0;

void Remember(int signal)
{
    signalThatCame = signal;
}

// Keeps the signals that end programs back as long as it lives, except in AwaitInput; the one that came there
// does its work afterwards. One that the program ignores is none.
class EndingSignals
{
public:
    EndingSignals()
    {
        signalThatCame = 0;
        sigset_t signals;
        sigemptyset(&signals);
        for (size_t i = 0; i < numbers.size(); ++i) {
            sigaction(numbers[i], nullptr, &actions[i]);
            if (actions[i].sa_handler != SIG_IGN) {
                sigaddset(&signals, numbers[i]);
            }
        }
        pthread_sigmask(SIG_BLOCK, &signals, &mask);
        for (const int number : numbers) {
            struct sigaction remembering
            {
            };
            remembering.sa_handler = Remember;
            if (sigismember(&signals, number) == 1) {
                sigaction(number, &remembering, nullptr);
            }
        }
    }

    ~EndingSignals()
    {
        for (size_t i = 0; i < numbers.size(); ++i) {
            sigaction(numbers[i], &actions[i], nullptr);
        }
        if (signalThatCame != 0) {
            (void)raise(signalThatCame);
        }
        pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    }

    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;
    EndingSignals(EndingSignals&&) = delete;
    EndingSignals& operator=(EndingSignals&&) = delete;

    // Waits until there is something to read. False when a signal came first.
    [[nodiscard]] bool AwaitInput() const
    {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        while (ppoll(&input, 1, nullptr, &mask) < 0 && errno == EINTR) {
            if (signalThatCame != 0) {
                return false;
            }
        }
        return true;
    }

private:
    static constexpr std::array<int, 4> numbers = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
    std::array<struct sigaction, numbers.size()> actions{};
    sigset_t mask{};
};

// Nothing that is typed is shown as long as it lives.
class SilentTerminal
{
public:
    SilentTerminal()
    {
        tcgetattr(STDIN_FILENO, &before);
        termios silent = before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }

    ~SilentTerminal()
    {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
        std::cerr << '\n';
    }

    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;
    SilentTerminal(SilentTerminal&&) = delete;
    SilentTerminal& operator=(SilentTerminal&&) = delete;

private:
    termios before{};
};

// Byte by byte, past the stream library, whose buffers are not wiped. `isReady` waits for each; where it says
// no, there is no line.
template <typename IsReady>
std::optional<SecretText> ReadLine(const IsReady& isReady)
{
    SecretText line;
    while (true) {
        if (!isReady()) {
            return std::nullopt;
        }
        char byte = 0;
        const ssize_t length = read(STDIN_FILENO, &byte, 1);
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length <= 0) {
            return line.empty() ? std::nullopt : std::optional(std::move(line));
        }
        if (byte == '\n') {
            return line;
        }
        line.push_back(byte);
    }
}

} // namespace

bool InputIsTerminal()
{
    return isatty(STDIN_FILENO) != 0;
}

bool ErrorsAreTerminal()
{
    return isatty(STDERR_FILENO) != 0;
}

std::optional<SecretText> ReadSecretInput()
{
    if (!InputIsTerminal()) {
        return ReadLine([] { return true; });
    }
    const EndingSignals signals; // ended by one, the program would leave the terminal without echo
    const SilentTerminal silence;
    return ReadLine([&signals] { return signals.AwaitInput(); });
}

std::optional<size_t> WriteUnbuffered(std::span<const char> bytes)
{
    const ssize_t length = write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (length < 0) {
        return errno == EINTR ? std::optional<size_t>(0) : std::nullopt;
    }
    return static_cast<size_t>(length);
}

} // namespace softcard
