#include "softcard/cardapi/assuan_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace softcard {

std::string EscapeForAssuan(std::string_view text)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string escaped;
    for (const char character : text) {
        const auto byte = static_cast<uint8_t>(character);
        if (byte < 0x20 || character == '%') {
            escaped += {'%', digits[byte >> 4], digits[byte & 0x0F]};
        } else {
            escaped.push_back(character);
        }
    }
    return escaped;
}

std::string UnescapeFromAssuan(std::string_view text)
{
    constexpr size_t digits = 2;
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        const std::string_view code = text.substr(i + 1, digits);
        uint8_t byte = 0;
        const auto parsed = std::from_chars(code.data(), code.data() + code.size(), byte, 16);
        if (text[i] == '%' && code.size() == digits && parsed.ptr == code.data() + digits) {
            plain.push_back(static_cast<char>(byte));
            i += digits;
        } else {
            plain.push_back(text[i]);
        }
    }
    return plain;
}

bool BeginsWith(std::string_view line, std::string_view word)
{
    return line.starts_with(word) && (line.size() == word.size() || line[word.size()] == ' ');
}

std::string_view TextBehindWord(std::string_view line)
{
    return line.substr(std::min(line.size(), line.substr(0, line.find(' ')).size() + 1));
}

} // namespace softcard
