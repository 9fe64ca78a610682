// The standard streams, when a person sits at them.
#pragma once

#include "softcard/base/secret.h"

#include <optional>

namespace softcard {

bool InputIsTerminal();

// A terminal that follows ANSI's control sequences.
bool ErrorsAreTerminal();

// The next line of the standard input, in UTF-8 and without its end; nothing at the end of the input. Neither
// is it shown at a terminal while it is typed, nor does it stay in any buffer.
std::optional<SecretText> ReadSecretInput();

// A line on the standard output, behind what std::cout has; no buffer keeps it. False when it cannot be
// written.
[[nodiscard]] bool WriteSecretOutput(const SecretText& line);

} // namespace softcard
