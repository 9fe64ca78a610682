#include "tests/softcard/judge.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace softcard::test {

std::vector<uint8_t> ContentOfBlock(const std::vector<uint8_t>& block)
{
    constexpr std::size_t framing = 11; // the bytes around the content, at least
    if (block.size() < framing) {
        ADD_FAILURE() << "a block of " << block.size() << " bytes";
        return {};
    }
    const auto padding = block.begin() + 2;
    const auto end = std::find_if(padding, block.end(), [](uint8_t byte) { return byte != 0xFF; });
    const bool isPadded =
        block[0] == 0 && block[1] == 1 && end - padding >= 8 && end != block.end() && *end == 0;
    EXPECT_TRUE(isPadded);
    return isPadded ? std::vector<uint8_t>(end + 1, block.end()) : std::vector<uint8_t>();
}

} // namespace softcard::test
