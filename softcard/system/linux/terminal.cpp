#include "system/terminal.h"

#include <cerrno>
#include <iostream>

#include <termios.h>
#include <unistd.h>

namespace softcard {
namespace {

// Nothing that is typed is shown as long as it lives.
class SilentTerminal
{
public:
    SilentTerminal()
    {
        tcgetattr(STDIN_FILENO, &before_);
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }

    ~SilentTerminal()
    {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
        std::cerr << '\n';
    }

    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;
    SilentTerminal(SilentTerminal&&) = delete;
    SilentTerminal& operator=(SilentTerminal&&) = delete;

private:
    termios before_{};
};

// Byte by byte, past the stream library, whose buffers nobody wipes.
std::optional<SecretText> ReadLine()
{
    SecretText line;
    while (true) {
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
    std::optional<SilentTerminal> silence;
    if (InputIsTerminal()) {
        silence.emplace();
    }
    return ReadLine();
}

} // namespace softcard
