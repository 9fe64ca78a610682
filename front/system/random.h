// Numbers by chance.
#pragma once

#include <cstdint>
#include <span>

namespace front {

// From the operating system's own generator. False when it gives none.
[[nodiscard]] bool FillWithRandom(std::span<uint8_t> buffer);

} // namespace front
