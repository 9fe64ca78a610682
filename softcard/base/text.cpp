#include "softcard/base/text.h"

#include <utf8/cpp17.h>
#include <utf8/unchecked.h>

#include <algorithm>
#include <iterator>

namespace softcard {
namespace {

constexpr char32_t replacementCharacter = 0xFFFD;
bool ActsOnTerminal(char32_t character)
{
    const auto isIn = [character](char32_t first, char32_t last) {
        return character >= first && character <= last;
    };
    return isIn(0, 0x1F) || isIn(0x7F, 0x9F) || isIn(0x2028, 0x202E) || isIn(0x2066, 0x2069);
}

// Calls `take` with each character, and for each byte that is not well-formed with the replacement character.
template <typename Take>
void ForEachCharacter(std::string_view text, const Take& take)
{
    const char* place = text.data();
    const char* const end = place + text.size();
    while (true) {
        const char* const invalid = utf8::find_invalid(place, end);
        while (place != invalid) {
            take(char32_t{utf8::unchecked::next(place)});
        }
        if (place == end) {
            return;
        }
        take(replacementCharacter);
        ++place;
    }
}

void Append(std::string& text, char32_t character)
{
    utf8::unchecked::append(character, std::back_inserter(text));
}

} // namespace

std::optional<std::u32string> DecodeUtf8(std::string_view text)
{
    if (!utf8::is_valid(text)) {
        return std::nullopt;
    }
    return utf8::utf8to32(text);
}

std::u16string ToUtf16(std::string_view text)
{
    std::string wellFormed;
    ForEachCharacter(text, [&wellFormed](char32_t character) { Append(wellFormed, character); });
    return utf8::utf8to16(wellFormed);
}

std::optional<std::string> ToUtf8(std::u16string_view text)
{
    try {
        return utf8::utf16to8(text);
    } catch (const utf8::invalid_utf16&) {
        return std::nullopt;
    }
}

std::string Printable(std::string_view text)
{
    std::string result;
    ForEachCharacter(text, [&result](char32_t character) {
        Append(result, ActsOnTerminal(character) ? replacementCharacter : character);
    });
    return result;
}

std::string EscapeForJson(std::string_view text)
{
    std::string result;
    ForEachCharacter(text, [&result](char32_t character) {
        if (character == U'\n' || !ActsOnTerminal(character)) {
            Append(result, character);
            return;
        }
        constexpr std::string_view digits = "0123456789abcdef";
        result += "\\u";
        for (const int shift : {12, 8, 4, 0}) {
            result.push_back(digits[(character >> shift) & 0xF]);
        }
    });
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
