// The characters of text that may be no UTF-8.
#pragma once

#include <cstddef>
#include <string_view>

namespace logtool {

inline constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD"; // U+FFFD

struct Utf8Character
{
    size_t bytes;  // at least 1
    char32_t code; // U+FFFD when `valid` is false
    bool valid;    // false: the bytes are the begin of a character, or one byte that begins none
};

// The first character of `text`, which is not empty.
Utf8Character FirstCharacter(std::string_view text);

// Whether all bytes are those of ASCII that print: 0x20 to 0x7e.
bool IsPlainAscii(std::string_view text);

// How many characters a valid text has.
size_t CharacterCount(std::string_view text);

// The bytes of the first `count` characters of a valid text.
size_t BytesOf(std::string_view text, size_t count);

// Whether the character is a command to a terminal and not a sign on it: a control character of ASCII or of
// Latin-1 (U+0080 to U+009F), or one that changes the direction of the text behind it.
bool CommandsTerminal(char32_t code);

} // namespace logtool
