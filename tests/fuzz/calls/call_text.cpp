#include "tests/fuzz/calls/call_text.h"

#include <algorithm>

namespace fuzz {
namespace {

bool IsDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

int HexValue(char letter)
{
    if (IsDigit(letter)) {
        return letter - '0';
    }
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

} // namespace

char CallText::Operation()
{
    while (position < text.size()) {
        const char letter = text[position];
        if (letter == '#') {
            position = std::min(text.find('\n', position), text.size());
        } else if (letter == ' ' || letter == '\n') {
            ++position;
        } else {
            return Letter();
        }
    }
    return 0;
}

char CallText::Letter()
{
    return position < text.size() ? text[position++] : '\0';
}

bool CallText::Take(char wanted)
{
    const bool taken = position < text.size() && text[position] == wanted;
    position += taken ? 1 : 0;
    return taken;
}

std::size_t CallText::Choice(std::size_t limit)
{
    const char letter = Letter();
    const std::size_t number =
        IsDigit(letter) ? static_cast<std::size_t>(letter - '0') : static_cast<unsigned char>(letter);
    return number % limit;
}

uint64_t CallText::Number()
{
    constexpr int mostDigits = 10;
    const char first = Letter();
    if (!IsDigit(first)) {
        return static_cast<unsigned char>(first);
    }
    uint64_t number = static_cast<uint64_t>(first - '0');
    for (int digits = 1; digits < mostDigits && position < text.size() && IsDigit(text[position]); ++digits) {
        number = (number * 10) + static_cast<uint64_t>(Letter() - '0');
    }
    static_cast<void>(Take(','));
    return number;
}

Bytes CallText::HexBytes()
{
    Bytes bytes;
    while (position + 1 < text.size() && HexValue(text[position]) >= 0 && HexValue(text[position + 1]) >= 0) {
        bytes.push_back(static_cast<uint8_t>((HexValue(text[position]) * 16) + HexValue(text[position + 1])));
        position += 2;
    }
    static_cast<void>(Take('.'));
    return bytes;
}

Bytes CallText::QuotedBytes()
{
    const std::size_t end = std::min(text.find('"', position), text.size());
    const std::string_view quoted = text.substr(position, end - position);
    position = std::min(end + 1, text.size());
    return {quoted.begin(), quoted.end()};
}

} // namespace fuzz
