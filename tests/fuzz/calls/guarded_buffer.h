// A buffer for a call to write to, with bytes in front of it and behind it that nobody may touch.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace fuzz {

class GuardedBuffer
{
public:
    explicit GuardedBuffer(std::size_t itsSize) : bytes(itsSize + (2 * guardSize), fill), size(itsSize)
    {
        std::fill_n(bytes.begin(), guardSize, guard);
        std::fill_n(bytes.end() - guardSize, guardSize, guard);
    }

    [[nodiscard]] uint8_t* Data() { return bytes.data() + guardSize; }
    [[nodiscard]] std::size_t Size() const { return size; }
    [[nodiscard]] std::vector<uint8_t> First(std::size_t count) const
    {
        const auto begin = bytes.begin() + guardSize;
        return {begin, begin + static_cast<std::ptrdiff_t>(std::min(count, size))};
    }

    [[nodiscard]] bool GuardsHold() const
    {
        const auto isGuard = [](uint8_t byte) { return byte == guard; };
        return std::all_of(bytes.begin(), bytes.begin() + guardSize, isGuard) &&
               std::all_of(bytes.end() - guardSize, bytes.end(), isGuard);
    }
    // From this byte on nothing was written.
    [[nodiscard]] bool IsUntouchedFrom(std::size_t begin) const
    {
        return begin >= size ||
               std::all_of(bytes.begin() + guardSize + static_cast<std::ptrdiff_t>(begin),
                           bytes.end() - guardSize, [](uint8_t byte) { return byte == fill; });
    }

private:
    static constexpr std::ptrdiff_t guardSize = 32; // bytes; keeps what is behind it aligned
    static constexpr uint8_t guard = 0xA7;
    static constexpr uint8_t fill = 0xC3;

    std::vector<uint8_t> bytes;
    std::size_t size;
};

} // namespace fuzz
