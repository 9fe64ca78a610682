// The side of the Assuan protocol that a pinentry program has.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace softcard {

struct PinentryBehaviour
{
    // Gets the command and the text of each SETDESC and SETPROMPT, and of each MESSAGE, which has none.
    std::function<void(const std::string& command, const std::string& text)> hear;

    // Answers a GETPIN; nothing is a cancel.
    std::function<std::optional<std::string>()> answer;
};

// Speaks on the standard input and output until the other side ends it. False when it cannot start.
bool ServeAsPinentry(const PinentryBehaviour& behaviour);

} // namespace softcard
