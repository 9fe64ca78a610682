#include "tavrik/hex_binary.h"

#include <algorithm>

namespace {

constexpr uint32_t invalidHexCode = 508;
constexpr char hexDigits[] = "0123456789abcdefABCDEF";

uint8_t DigitValue(char digit)
{
    if (digit >= '0' && digit <= '9') {
        return static_cast<uint8_t>(digit - '0');
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<uint8_t>(digit - 'a' + 10);
    }
    return static_cast<uint8_t>(digit - 'A' + 10);
}

// A new block with the bytes that the pairs of digits stand for.
uint8_t* DecodeHexPairs(const std::string& hex)
{
    const auto count = hex.size() / 2;
    auto* bytes = new uint8_t[count];
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<uint8_t>(DigitValue(hex[2 * i]) << 4U | DigitValue(hex[2 * i + 1]));
    }
    return bytes;
}

// `count` as a number of bytes to allocate; a negative one fails in the allocator.
std::size_t BlockSize(int32_t count)
{
    return static_cast<std::size_t>(count);
}

uint8_t* CopyOf(const uint8_t* bytes, int32_t count)
{
    auto* copy = new uint8_t[BlockSize(count)];
    std::copy_n(bytes, count, copy);
    return copy;
}

template <typename ByteVector>
void CopyTo(ByteVector& vector, const uint8_t* bytes, int32_t count)
{
    vector.assign(bytes, bytes + std::max(count, 0));
}

} // namespace

HexBinary::HexBinary(int32_t count) : data(new uint8_t[BlockSize(count)]), length(count) {}

HexBinary::HexBinary(const uint8_t* bytes, int32_t count, bool copy)
    : data(copy ? CopyOf(bytes, count) : const_cast<uint8_t*>(bytes)), length(count)
{
}

HexBinary::HexBinary(std::string hex) // NOLINT(performance-unnecessary-value-param): the exported signature
    : data(nullptr), length(0)
{
    if (hex.size() % 2 != 0) {
        throw Pkcs11Exception{invalidHexCode, "Error(51): parameter -> length - 11"};
    }
    const auto position = hex.find_first_not_of(hexDigits);
    if (position != std::string::npos) {
        throw Pkcs11Exception{invalidHexCode,
                              "Error(51): character -> " + std::to_string(position) + " - 15"};
    }
    data = DecodeHexPairs(hex);
    length = static_cast<int32_t>(hex.size() / 2);
}

HexBinary::~HexBinary()
{
    delete[] data;
    data = nullptr;
    length = 0;
}

std::string HexBinary::ToHexString() const
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    if (data == nullptr || length <= 0) {
        return text;
    }
    text.reserve(2 * BlockSize(length));
    for (int32_t i = 0; i < length; ++i) {
        text += digits[data[i] >> 4U];
        text += digits[data[i] & 0x0FU];
    }
    return text;
}

void HexBinary::Append(const HexBinary* other)
{
    if (other == nullptr) {
        return;
    }
    const int32_t ownLength = std::max(length, 0);
    const int32_t otherLength = std::max(other->length, 0);
    auto joined = std::make_unique<uint8_t[]>(BlockSize(ownLength) + BlockSize(otherLength));
    std::copy_n(data, ownLength, joined.get());
    std::copy_n(other->data, otherLength, joined.get() + ownLength);
    delete[] data;
    data = joined.release();
    length = ownLength + otherLength;
}

void HexBinary::ToByteVector(std::vector<uint8_t>& vector) const
{
    CopyTo(vector, data, length);
}

void HexBinary::ToByteVector(Botan::secure_vector<uint8_t>& vector) const
{
    CopyTo(vector, data, length);
}

HexBinary* HexBinary::FromByteVector(std::vector<uint8_t>& vector)
{
    auto* made = new HexBinary(vector.data(), static_cast<int32_t>(vector.size()), true);
    std::vector<uint8_t>().swap(vector);
    return made;
}

int32_t HexBinary::Compare(const HexBinary* first, const HexBinary* second)
{
    const int order = first->ToHexString().compare(second->ToHexString());
    return static_cast<int32_t>(order);
}
