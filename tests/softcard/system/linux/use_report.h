// What softcard_use_card tells of each of its steps, on its standard output: one record, written at once.
#pragma once

#include <cstdint>

namespace softcard::test {

enum class UseStep : uint32_t
{
    wrongPin,
    rightPin,
    unblocking,
    done // the step of before
};

struct UseReport
{
    UseStep step;
    uint32_t triesLeft; // of the PIN, with UseStep::done
};

} // namespace softcard::test
