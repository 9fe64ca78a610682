// Codes and passwords that come from the user of the command line.
#pragma once

#include "softcard/base/secret.h"

#include <optional>
#include <string>

namespace softcard {

// One line of the standard input; at a terminal the prompt is shown, and what is typed is not. Throws
// StoreError when there is no line.
SecretText ReadSecretLine(const std::string& prompt);

// The value of an option, or else a line of the standard input.
SecretText TakeOrRead(const std::optional<SecretText>& option, const std::string& prompt);

} // namespace softcard
