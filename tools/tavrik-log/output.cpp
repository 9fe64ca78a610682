#include "tools/tavrik-log/output.h"

#include <cerrno>
#include <system_error>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace logtool {

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

bool OutputIsTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

size_t TerminalWidth()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

} // namespace logtool
