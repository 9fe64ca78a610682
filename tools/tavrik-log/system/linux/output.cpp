#include "tools/tavrik-log/system/output.h"

#include <cerrno>
#include <csignal>
#include <system_error>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace logtool {

void LetWritesFail()
{
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

void WriteOut(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EPIPE) {
            throw ReaderGone();
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "standard output");
        }
    }
}

void WaitForReader(int milliseconds)
{
    pollfd output{STDOUT_FILENO, 0, 0};
    if (poll(&output, 1, milliseconds) > 0) {
        throw ReaderGone();
    }
}

Terminal::Terminal() : isThere(isatty(STDOUT_FILENO) == 1), takesColours(isThere)
{
    winsize size{};
    width = isThere && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

Terminal::~Terminal() = default;

} // namespace logtool
