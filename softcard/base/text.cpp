#include "softcard/base/text.h"

#include <algorithm>

namespace softcard {
namespace {

constexpr char32_t replacementCharacter = 0xFFFD;
constexpr char32_t firstSupplementary = 0x10000;
constexpr char32_t lastCharacter = 0x10FFFF;

bool IsSurrogate(char32_t character)
{
    return character >= 0xD800 && character <= 0xDFFF;
}

struct Decoded
{
    char32_t character;
    size_t length; // bytes taken, 0 when they are not well-formed
};

Decoded DecodeOne(std::string_view text)
{
    const auto first = static_cast<uint8_t>(text[0]);
    if (first < 0x80) {
        return {first, 1};
    }
    size_t length = 0;
    char32_t smallest = 0;
    char32_t character = 0;
    if ((first & 0xE0) == 0xC0) {
        length = 2;
        smallest = 0x80;
        character = first & 0x1FU;
    } else if ((first & 0xF0) == 0xE0) {
        length = 3;
        smallest = 0x800;
        character = first & 0x0FU;
    } else if ((first & 0xF8) == 0xF0) {
        length = 4;
        smallest = firstSupplementary;
        character = first & 0x07U;
    }
    if (length == 0 || text.size() < length) {
        return {0, 0};
    }
    for (size_t i = 1; i < length; ++i) {
        const auto next = static_cast<uint8_t>(text[i]);
        if ((next & 0xC0) != 0x80) {
            return {0, 0};
        }
        character = (character << 6) | (next & 0x3FU);
    }
    if (character < smallest || character > lastCharacter || IsSurrogate(character)) {
        return {0, 0};
    }
    return {character, length};
}

bool ActsOnTerminal(char32_t character)
{
    const auto isIn = [character](char32_t first, char32_t last) {
        return character >= first && character <= last;
    };
    return isIn(0, 0x1F) || isIn(0x7F, 0x9F) || isIn(0x2028, 0x202E) || isIn(0x2066, 0x2069);
}

void AppendUtf16(std::u16string& text, char32_t character)
{
    if (character < firstSupplementary) {
        text.push_back(static_cast<char16_t>(character));
        return;
    }
    const char32_t offset = character - firstSupplementary;
    text.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
    text.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
}

void AppendUtf8(std::string& text, char32_t character)
{
    const auto append = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (character < 0x80) {
        append(character);
    } else if (character < 0x800) {
        append(0xC0 | (character >> 6));
        append(0x80 | (character & 0x3F));
    } else if (character < firstSupplementary) {
        append(0xE0 | (character >> 12));
        append(0x80 | ((character >> 6) & 0x3F));
        append(0x80 | (character & 0x3F));
    } else {
        append(0xF0 | (character >> 18));
        append(0x80 | ((character >> 12) & 0x3F));
        append(0x80 | ((character >> 6) & 0x3F));
        append(0x80 | (character & 0x3F));
    }
}

} // namespace

std::optional<std::u32string> DecodeUtf8(std::string_view text)
{
    std::u32string characters;
    while (!text.empty()) {
        const Decoded decoded = DecodeOne(text);
        if (decoded.length == 0) {
            return std::nullopt;
        }
        characters.push_back(decoded.character);
        text.remove_prefix(decoded.length);
    }
    return characters;
}

std::u16string ToUtf16(std::string_view text)
{
    std::u16string result;
    while (!text.empty()) {
        const Decoded decoded = DecodeOne(text);
        AppendUtf16(result, decoded.length == 0 ? replacementCharacter : decoded.character);
        text.remove_prefix(std::max<size_t>(decoded.length, 1));
    }
    return result;
}

std::optional<std::string> ToUtf8(std::u16string_view text)
{
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t character = text[i];
        if (IsSurrogate(character)) {
            const bool paired =
                character < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF;
            if (!paired) {
                return std::nullopt;
            }
            character = firstSupplementary + ((character - 0xD800) << 10) + (text[i + 1] - char32_t{0xDC00});
            ++i;
        }
        AppendUtf8(result, character);
    }
    return result;
}

std::string Printable(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const Decoded decoded = DecodeOne(text);
        const bool isShown = decoded.length != 0 && !ActsOnTerminal(decoded.character);
        AppendUtf8(result, isShown ? decoded.character : replacementCharacter);
        text.remove_prefix(std::max<size_t>(decoded.length, 1));
    }
    return result;
}

std::string EscapeForJson(std::string_view text)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    while (!text.empty()) {
        const Decoded decoded = DecodeOne(text);
        const char32_t character = decoded.length == 0 ? replacementCharacter : decoded.character;
        if (character != U'\n' && ActsOnTerminal(character)) {
            result += "\\u";
            for (const int shift : {12, 8, 4, 0}) {
                result.push_back(digits[(character >> shift) & 0xF]);
            }
        } else {
            AppendUtf8(result, character);
        }
        text.remove_prefix(std::max<size_t>(decoded.length, 1));
    }
    return result;
}

std::filesystem::path PathOf(std::string_view text)
{
    return std::u8string(text.begin(), text.end());
}

std::string Utf8Of(const std::filesystem::path& path)
{
    try {
        const std::u8string text = path.u8string();
        return {text.begin(), text.end()};
    } catch (const std::filesystem::filesystem_error&) {
        return {};
    }
}

void CopyToBuffer(std::u16string_view text, char16_t* buffer, uint32_t capacity)
{
    if (buffer == nullptr || capacity == 0) {
        return;
    }
    const size_t length = text.size() < capacity ? text.size() : 0;
    std::copy_n(text.begin(), length, buffer);
    buffer[length] = u'\0';
}

} // namespace softcard
