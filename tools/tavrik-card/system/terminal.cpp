// What is the same for the terminals of every system.
#include "tools/tavrik-card/system/terminal.h"

#include <iostream>

namespace softcard {

bool WriteSecretOutput(const SecretText& line)
{
    SecretText bytes = line;
    bytes.push_back('\n');
    std::span<const char> left = bytes;
    if (!std::cout.flush()) {
        return false;
    }
    while (!left.empty()) {
        const auto length = WriteUnbuffered(left);
        if (!length) {
            return false;
        }
        left = left.subspan(*length);
    }
    return true;
}

} // namespace softcard
