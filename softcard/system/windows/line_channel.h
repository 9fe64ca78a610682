// Lines of text over pipes, as the Assuan protocol has them.
#pragma once

#include "secret.h"

#include <optional>
#include <string_view>

#include <windows.h>

namespace softcard {

// Neither handle is closed. No buffer keeps what went through it.
class LineChannel
{
public:
    LineChannel(HANDLE input, HANDLE output) : input_(input), output_(output) {}

    // Without its end. Nothing when there is no more, or the line is longer than the protocol allows.
    [[nodiscard]] std::optional<SecretText> Read() const;

    // The line gets its end. False when nobody reads.
    [[nodiscard]] bool Write(std::string_view line) const;

private:
    HANDLE input_;
    HANDLE output_;
};

// Whether the line begins with this word.
bool BeginsWith(std::string_view line, std::string_view word);

// What stands behind the first word of the line and the space after it.
std::string_view TextBehindWord(std::string_view line);

} // namespace softcard
