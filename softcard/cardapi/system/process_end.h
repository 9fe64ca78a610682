// Threads that are gone, and left their locks taken.
#pragma once

namespace softcard {

// Whether the system has ended the other threads of the process where they stood, so that a lock which one of
// them had is never free again.
bool ThreadsAreGone();

// Has this called in every child that the process forks, which has the forking thread alone. Does nothing on systems
// without forks.
void CallInForkedChildren(void (*renew)());

} // namespace softcard
