// The text that the call fuzzers read their calls from. Every input is a text, also one that makes no sense: an
// operation is one character, and so is most of what follows it. Blanks, line ends and what stands behind a '#' up to
// the end of the line are passed over in front of an operation. seeds/CALLS.md explains the text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace fuzz {

using Bytes = std::vector<uint8_t>;

class CallText
{
public:
    explicit CallText(std::string_view given) : text(given) {}

    // The next operation; 0 at the end of the text.
    char Operation();

    // The next character, whatever it is; 0 at the end.
    char Letter();
    // The same, and true, when the next character is this one.
    bool Take(char wanted);

    // The next character as a number below `limit`: a digit as its value, another one as its code.
    std::size_t Choice(std::size_t limit);

    // Decimal digits, at most ten, with a ',' behind them that is passed over. A character that is no digit counts as its
    // code.
    uint64_t Number();

    // Pairs of hexadecimal digits up to something else; a '.' behind them is passed over.
    Bytes HexBytes();
    // All up to the next '"', which is passed over.
    Bytes QuotedBytes();

    [[nodiscard]] std::string_view Rest() const { return text.substr(position); }

private:
    std::string_view text;
    std::size_t position = 0;
};

} // namespace fuzz
