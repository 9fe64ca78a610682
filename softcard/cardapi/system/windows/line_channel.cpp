#include "softcard/cardapi/system/windows/line_channel.h"

#include <thread>

namespace softcard {
namespace {

constexpr std::chrono::milliseconds pause{10};

// Whether there is something to read, or there will never be: a pipe has no better way to wait with a limit.
bool AwaitInput(HANDLE pipe, Deadline deadline)
{
    DWORD available = 0;
    while (PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) != FALSE && available == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}

} // namespace

std::optional<SecretText> LineChannel::Read(std::optional<Deadline> deadline) const
{
    SecretText line;
    while (line.size() <= longestAssuanLine) {
        if (deadline && (std::chrono::steady_clock::now() >= *deadline || !AwaitInput(input, *deadline))) {
            return std::nullopt;
        }
        char byte = 0;
        DWORD length = 0;
        if (::ReadFile(input, &byte, 1, &length, nullptr) == FALSE || length == 0) {
            return std::nullopt;
        }
        if (byte == '\n') {
            return line;
        }
        line.push_back(byte);
    }
    return std::nullopt;
}

bool LineChannel::Write(std::string_view line) const
{
    SecretText rest = MakeSecretText(line);
    rest.push_back('\n');
    size_t sent = 0;
    while (sent < rest.size()) {
        DWORD length = 0;
        if (::WriteFile(output, rest.data() + sent, static_cast<DWORD>(rest.size() - sent), &length,
                        nullptr) == FALSE) {
            return false;
        }
        sent += length;
    }
    return true;
}

} // namespace softcard
