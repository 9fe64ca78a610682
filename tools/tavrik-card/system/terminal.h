// The standard streams at a terminal.
#pragma once

#include "softcard/base/secret.h"

#include <cstddef>
#include <optional>
#include <span>

namespace softcard {

bool InputIsTerminal();

// A terminal that follows ANSI's control sequences.
bool ErrorsAreTerminal();

// The next line of the standard input, in UTF-8 and without its end; nothing at the end of the input. Neither
// is it shown at a terminal while it is typed, nor is it kept in any buffer.
std::optional<SecretText> ReadSecretInput();

// A line on the standard output, behind what std::cout has; no buffer keeps it. False when it cannot be
// written.
[[nodiscard]] bool WriteSecretOutput(const SecretText& line);

// Writes some of the bytes on the standard output, past all buffers. Returns how many, which may be none, and nothing
// when it cannot be written.
[[nodiscard]] std::optional<size_t> WriteUnbuffered(std::span<const char> bytes);

} // namespace softcard
