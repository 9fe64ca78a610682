// Starts of the library and of the front in one process, one after the other.
#pragma once

namespace load {

// Loads, initializes, signs, finalizes and unloads each of them so many times. Prints what the process holds after the
// first tenth and at the end, and is false when that has grown or a call has failed.
bool RunCycles(unsigned count);

} // namespace load
