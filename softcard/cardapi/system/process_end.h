#pragma once

namespace softcard {

// Whether the system has ended the other threads of the process where they stood, so that a lock which one of
// them had is never free again.
bool ThreadsAreGone();

} // namespace softcard
