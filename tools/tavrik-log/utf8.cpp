#include "tools/tavrik-log/utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace logtool {
namespace {

constexpr unsigned continuationBits = 6;
constexpr unsigned char continuationMask = 0x3F;

struct Lead
{
    size_t bytes;         // of the whole character; 0 when the byte begins none
    unsigned char lowest; // what its second byte may be
    unsigned char highest;
};

// Longer forms than needed, surrogates and what is above U+10FFFF are excluded by the second byte.
Lead LeadOf(unsigned char byte)
{
    constexpr unsigned char low = 0x80;
    constexpr unsigned char high = 0xBF;
    if (byte < 0xC2 || byte > 0xF4) {
        return {byte < low ? 1U : 0U, low, high};
    }
    if (byte < 0xE0) {
        return {2, low, high};
    }
    if (byte < 0xF0) {
        return {3, byte == 0xE0 ? static_cast<unsigned char>(0xA0) : low,
                byte == 0xED ? static_cast<unsigned char>(0x9F) : high};
    }
    return {4, byte == 0xF0 ? static_cast<unsigned char>(0x90) : low,
            byte == 0xF4 ? static_cast<unsigned char>(0x8F) : high};
}

bool ContinuesCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

} // namespace

Utf8Character FirstCharacter(std::string_view text)
{
    constexpr char32_t replacement = 0xFFFD;
    const auto first = static_cast<unsigned char>(text.front());
    Lead lead = LeadOf(first);
    if (lead.bytes <= 1) {
        return {1, lead.bytes == 1 ? char32_t{first} : replacement, lead.bytes == 1};
    }
    // A lead of two, three, four bytes leaves five, four, three bits.
    char32_t code = first & (0x7FU >> lead.bytes);
    for (size_t index = 1; index < lead.bytes; ++index) {
        const auto byte = index < text.size() ? static_cast<unsigned char>(text[index]) : 0;
        if (byte < lead.lowest || byte > lead.highest) {
            return {index, replacement, false};
        }
        lead = {lead.bytes, 0x80, 0xBF};
        code = code << continuationBits | (byte & continuationMask);
    }
    return {lead.bytes, code, true};
}

bool IsPlainAscii(std::string_view text)
{
    // Eight bytes at a time: the highest bit of each byte of `bad` tells whether one was below 0x20 or above
    // 0x7e. No sum goes beyond its byte.
    constexpr uint64_t ones = 0x0101010101010101;
    constexpr uint64_t highest = ones * 0x80;
    uint64_t bad = 0;
    size_t index = 0;
    for (; index + sizeof(uint64_t) <= text.size(); index += sizeof(uint64_t)) {
        uint64_t word = 0;
        std::memcpy(&word, text.data() + index, sizeof word);
        const uint64_t low = word & ~highest;
        bad |= word | (low + ones) | ~(low + ones * 0x60);
    }
    return (bad & highest) == 0 && std::all_of(text.begin() + static_cast<std::ptrdiff_t>(index), text.end(),
                                               [](char c) { return c >= 0x20 && c < 0x7f; });
}

size_t CharacterCount(std::string_view text)
{
    return text.size() - static_cast<size_t>(std::count_if(text.begin(), text.end(), ContinuesCharacter));
}

size_t BytesOf(std::string_view text, size_t count)
{
    size_t bytes = 0;
    while (bytes < text.size() && (count > 0 || ContinuesCharacter(text[bytes]))) {
        count -= ContinuesCharacter(text[bytes]) ? 0 : 1;
        ++bytes;
    }
    return bytes;
}

bool CommandsTerminal(char32_t code)
{
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || (code >= 0x202a && code <= 0x202e) ||
           (code >= 0x2066 && code <= 0x2069);
}

} // namespace logtool
