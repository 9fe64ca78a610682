#include "src/operations/type2_padding.h"

#include <cstdlib>
#include <ctime>

std::unique_ptr<HexBinary> ApplyType2Padding(const int32_t* modulusLength, const HexBinary& data)
{
    constexpr int32_t framingLength = 3; // 00 02 in front of the padding and 00 behind it
    constexpr int byteValues = 256;
    const int32_t padLength = *modulusLength - data.length - framingLength;
    if (padLength < 0) {
        return nullptr;
    }
    // NOLINTBEGIN(cert-msc30-c,cert-msc32-c,cert-msc50-cpp,cert-msc51-cpp): the block is required to come
    // from this generator
    std::srand(static_cast<unsigned int>(std::time(nullptr)));
    HexBinary padding(padLength);
    for (int32_t i = 0; i < padLength; ++i) {
        const auto byte = static_cast<uint8_t>(std::rand() % byteValues);
        padding.data[i] = byte != 0 ? byte : uint8_t{1};
    }
    // NOLINTEND(cert-msc30-c,cert-msc32-c,cert-msc50-cpp,cert-msc51-cpp)

    auto block = std::make_unique<HexBinary>("0002");
    const HexBinary separator("00");
    block->Append(&padding);
    block->Append(&separator);
    block->Append(&data);
    return block;
}
