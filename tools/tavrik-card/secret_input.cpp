#include "tools/tavrik-card/secret_input.h"

#include "softcard/base/store_error.h"
#include "tools/tavrik-card/system/terminal.h"

#include <iostream>

namespace softcard {

SecretText ReadSecretLine(const std::string& prompt)
{
    if (InputIsTerminal()) {
        std::cerr << prompt << ": " << std::flush;
    }
    auto line = ReadSecretInput();
    if (!line) {
        throw StoreError(StoreFailure::badArgument, prompt + " is missing: neither an option nor a line of "
                                                             "the standard input gives it.");
    }
    return std::move(*line);
}

SecretText TakeOrRead(const std::optional<SecretText>& option, const std::string& prompt)
{
    return option ? *option : ReadSecretLine(prompt);
}

} // namespace softcard
