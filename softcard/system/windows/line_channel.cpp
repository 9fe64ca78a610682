#include "system/windows/line_channel.h"

#include <algorithm>

namespace softcard {
namespace {

constexpr size_t longestLine = 1000; // bytes, without its end

} // namespace

std::optional<SecretText> LineChannel::Read() const
{
    SecretText line;
    while (line.size() <= longestLine) {
        char byte = 0;
        DWORD length = 0;
        if (::ReadFile(input_, &byte, 1, &length, nullptr) == FALSE || length == 0) {
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
        if (::WriteFile(output_, rest.data() + sent, static_cast<DWORD>(rest.size() - sent), &length,
                        nullptr) == FALSE) {
            return false;
        }
        sent += length;
    }
    return true;
}

bool BeginsWith(std::string_view line, std::string_view word)
{
    return line.starts_with(word) && (line.size() == word.size() || line[word.size()] == ' ');
}

std::string_view TextBehindWord(std::string_view line)
{
    return line.substr(std::min(line.size(), line.substr(0, line.find(' ')).size() + 1));
}

} // namespace softcard
