#include "front/system/random.h"

#include <cerrno>

#include <sys/random.h>

namespace front {

bool FillWithRandom(std::span<uint8_t> buffer)
{
    while (!buffer.empty()) {
        const ssize_t got = getrandom(buffer.data(), buffer.size(), 0);
        if (got < 0 && errno != EINTR) {
            return false;
        }
        buffer = buffer.subspan(got > 0 ? static_cast<std::size_t>(got) : 0);
    }
    return true;
}

} // namespace front
