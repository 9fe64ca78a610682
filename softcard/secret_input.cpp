#include "secret_input.h"

#include "store_error.h"
#include "system/terminal.h"

#include <botan/mem_ops.h>

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

SecretText TakeOrRead(std::optional<std::string>& option, const std::string& prompt)
{
    return option ? *TakeSecret(option) : ReadSecretLine(prompt);
}

std::optional<SecretText> TakeSecret(std::optional<std::string>& option)
{
    if (!option) {
        return std::nullopt;
    }
    std::string& text = *option;
    SecretText secret = MakeSecretText(text);
    Botan::secure_scrub_memory(text.data(), text.size());
    return secret;
}

} // namespace softcard
