// Lines of text over pipes, as the Assuan protocol has them.
#pragma once

#include "softcard/base/secret.h"
#include "softcard/cardapi/assuan_client.h"

#include <optional>
#include <string_view>

#include <windows.h>

namespace softcard {

// Neither handle is closed. No buffer keeps what went through it.
class LineChannel
{
public:
    LineChannel(HANDLE readEnd, HANDLE writeEnd) : input(readEnd), output(writeEnd) {}

    // Without its end. Nothing when there is no more, the line is longer than the protocol allows, or it does
    // not come in time.
    [[nodiscard]] std::optional<SecretText> Read(std::optional<Deadline> deadline = std::nullopt) const;

    // The line gets its end. False when the other side has closed its end.
    [[nodiscard]] bool Write(std::string_view line) const;

private:
    HANDLE input;
    HANDLE output;
};

} // namespace softcard
