#include "src/crypto/pkcs1.h"

#include <botan/exceptn.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace pkcs1 {

namespace {

struct KnownHash
{
    std::string_view name;
    std::string_view identifier; // the object identifier's content in DER
    uint8_t length;              // of the hash, in bytes
};

// Constants without a destructor: a thread may sign while the process ends.
constexpr std::array<KnownHash, 5> knownHashes{{
    {"SHA-1", "\x2B\x0E\x03\x02\x1A", 20},
    {"SHA-224", "\x60\x86\x48\x01\x65\x03\x04\x02\x04", 28},
    {"SHA-256", "\x60\x86\x48\x01\x65\x03\x04\x02\x01", 32},
    {"SHA-384", "\x60\x86\x48\x01\x65\x03\x04\x02\x02", 48},
    {"SHA-512", "\x60\x86\x48\x01\x65\x03\x04\x02\x03", 64},
}};

// The functions below compute with masks, all ones for yes and zero for no. A compiler that knew that a mask has only these
// two values could make a branch of it.
uint32_t Hidden(uint32_t value)
{
    asm("" : "+r"(value));
    return value;
}

uint32_t MaskIfZero(uint32_t value)
{
    return Hidden(0U - ((~value & (value - 1)) >> 31U));
}

uint32_t Select(uint32_t mask, uint32_t ifYes, uint32_t ifNo)
{
    return (mask & ifYes) | (~mask & ifNo);
}

// Moves all bytes to the front by `distance`, in steps of 1, 2, 4 and so on, each of which is done or only seems to be.
void ShiftToFront(Botan::secure_vector<uint8_t>& bytes, uint32_t distance)
{
    for (uint32_t step = 1; step < bytes.size(); step *= 2) {
        const uint32_t keep = MaskIfZero(distance & step);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const uint8_t moved = i + step < bytes.size() ? bytes[i + step] : 0;
            bytes[i] = static_cast<uint8_t>(Select(keep, bytes[i], moved));
        }
    }
}

} // namespace

std::optional<std::vector<uint8_t>> DigestInfoPrefix(const std::string& hash)
{
    const auto* known = std::find_if(knownHashes.begin(), knownHashes.end(),
                                     [&](const KnownHash& each) { return each.name == hash; });
    if (known == knownHashes.end()) {
        return std::nullopt;
    }
    constexpr uint8_t sequence = 0x30;
    constexpr uint8_t objectIdentifier = 0x06;
    constexpr uint8_t null = 0x05;
    constexpr uint8_t octetString = 0x04;
    const std::string_view identifier = known->identifier;
    const auto length = static_cast<uint8_t>(identifier.size());
    const auto algorithmLength = static_cast<uint8_t>(length + 4);
    const auto wholeLength = static_cast<uint8_t>(algorithmLength + 4 + known->length);
    std::vector<uint8_t> prefix{sequence, wholeLength, sequence, algorithmLength, objectIdentifier, length};
    prefix.insert(prefix.end(), identifier.begin(), identifier.end());
    prefix.insert(prefix.end(), {null, 0, octetString, known->length});
    return prefix;
}

std::vector<uint8_t> DigestInfo(const std::string& hash, std::span<const uint8_t> digest)
{
    auto digestInfo = DigestInfoPrefix(hash);
    if (!digestInfo) {
        throw std::invalid_argument("The hash has no DigestInfo.");
    }
    digestInfo->insert(digestInfo->end(), digest.begin(), digest.end());
    return *std::move(digestInfo);
}

std::vector<uint8_t> SignatureBlock(std::span<const uint8_t> data, std::size_t length)
{
    if (length < leastFraming || data.size() > length - leastFraming) {
        throw Botan::Encoding_Error("The data are too long for the key.");
    }
    std::vector<uint8_t> block(length, 0xFF);
    block[0] = 0;
    block[1] = 1;
    block[length - data.size() - 1] = 0;
    std::copy(data.begin(), data.end(), block.end() - static_cast<std::ptrdiff_t>(data.size()));
    return block;
}

Botan::secure_vector<uint8_t> OpenEncryptionBlock(uint8_t& validMask, std::span<const uint8_t> block)
{
    validMask = 0;
    if (block.size() < leastFraming) {
        return {};
    }
    uint32_t valid = MaskIfZero(block[0]) & MaskIfZero(block[1] ^ 2U);
    uint32_t found = 0;
    uint32_t start = 0; // of the data, behind the first zero
    for (std::size_t i = 2; i < block.size(); ++i) {
        const uint32_t here = MaskIfZero(block[i]) & ~found;
        start = Select(here, static_cast<uint32_t>(i + 1), start);
        found |= here;
        if (i + 1 < leastFraming) {
            valid &= ~here;
        }
    }
    valid &= found;

    Botan::secure_vector<uint8_t> data(block.begin(), block.end());
    ShiftToFront(data, start);
    data.resize(Select(valid, static_cast<uint32_t>(data.size()) - start, 0));
    validMask = static_cast<uint8_t>(valid);
    return data;
}

} // namespace pkcs1
