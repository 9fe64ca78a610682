#include "front/system/random.h"

#include <algorithm>

#include <windows.h>

#include <bcrypt.h>

namespace front {

bool FillWithRandom(std::span<uint8_t> buffer)
{
    constexpr std::size_t atOnce = 1U << 30U;
    while (!buffer.empty()) {
        const std::span<uint8_t> part = buffer.first(std::min(buffer.size(), atOnce));
        if (BCryptGenRandom(nullptr, part.data(), static_cast<ULONG>(part.size()),
                            BCRYPT_USE_SYSTEM_PREFERRED_RNG) < 0) {
            return false;
        }
        buffer = buffer.subspan(part.size());
    }
    return true;
}

} // namespace front
