#pragma once

namespace logtool {

// From then on who interrupts the program, or ends it without force, does not end it at once but is told by IsInterrupted.
void TakeInterruptions();

[[nodiscard]] bool IsInterrupted();

} // namespace logtool
