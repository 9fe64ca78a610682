#include "tools/tavrik-card/system/windows/definite_lengths.h"

#include <botan/exceptn.h>

#include <cstddef>
#include <span>

namespace softcard {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr uint8_t constructed = 0x20;
constexpr uint8_t longTag = 0x1F;
constexpr uint8_t indefinite = 0x80;
constexpr int mostNested = 32;

uint8_t Take(Bytes& left)
{
    if (left.empty()) {
        throw Botan::Decoding_Error("the end is missing");
    }
    const uint8_t byte = left.front();
    left = left.subspan(1);
    return byte;
}

// The bytes that the length, which begins with `first`, tells of.
size_t TakeLength(uint8_t first, Bytes& left)
{
    if (first < indefinite) {
        return first;
    }
    const size_t count = first & 0x7FU;
    size_t length = 0;
    for (size_t i = 0; i < count; ++i) {
        if (length > (size_t{1} << 40U)) {
            throw Botan::Decoding_Error("too long");
        }
        length = length << 8U | Take(left);
    }
    if (length > left.size()) {
        throw Botan::Decoding_Error("the end is missing");
    }
    return length;
}

void AppendLength(SecretBytes& target, size_t length)
{
    if (length < indefinite) {
        target.push_back(static_cast<uint8_t>(length));
        return;
    }
    SecretBytes bytes;
    for (; length > 0; length >>= 8U) {
        bytes.insert(bytes.begin(), static_cast<uint8_t>(length));
    }
    target.push_back(static_cast<uint8_t>(indefinite | bytes.size()));
    target += bytes;
}

SecretBytes TakeValue(Bytes& left, int nested);

// All values up to the end, or up to the mark of it.
SecretBytes TakeValues(Bytes& left, bool toMark, int nested)
{
    SecretBytes values;
    while (toMark ? !(left.size() >= 2 && left[0] == 0 && left[1] == 0) : !left.empty()) {
        values += TakeValue(left, nested);
    }
    left = left.subspan(toMark ? 2 : 0);
    return values;
}

SecretBytes TakeValue(Bytes& left, int nested)
{
    if (nested > mostNested) {
        throw Botan::Decoding_Error("nested too deeply");
    }
    const uint8_t tag = Take(left);
    if ((tag & longTag) == longTag) {
        throw Botan::Decoding_Error("a tag that bundles do not have");
    }
    SecretBytes value;
    const uint8_t first = Take(left);
    if (first == indefinite && (tag & constructed) != 0) {
        value = TakeValues(left, true, nested + 1);
    } else {
        const size_t length = TakeLength(first, left);
        Bytes content = left.first(length);
        left = left.subspan(length);
        value = (tag & constructed) != 0 ? TakeValues(content, false, nested + 1)
                                         : SecretBytes(content.begin(), content.end());
    }
    SecretBytes whole = {tag};
    AppendLength(whole, value.size());
    whole += value;
    return whole;
}

} // namespace

SecretBytes WithDefiniteLengths(const SecretBytes& encoded)
{
    Bytes left = encoded;
    return TakeValue(left, 0);
}

} // namespace softcard
