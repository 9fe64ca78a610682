// Asking the user for a code.
#pragma once

#include "softcard/base/secret.h"
#include "softcard/cardapi/assuan_client.h"

#include <filesystem>
#include <optional>

namespace softcard {

// Asks through a pinentry program, by the Assuan protocol, and waits for the answer, which may be empty, as
// long as the question says. A name without a folder is looked for on the PATH. Nothing when the user
// cancelled or the program cannot be spoken to. The program has ended when this returns.
std::optional<SecretText> AskThroughProgram(const std::filesystem::path& program, const Question& question);

// The same where no program was chosen, in the way that the system's users expect.
std::optional<SecretText> AskWithoutChoice(const Question& question);

} // namespace softcard
