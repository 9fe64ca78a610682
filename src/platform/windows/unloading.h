#pragma once

#include <atomic>

// Set as soon as the library is being unloaded, or the process is ending: the loader's lock is held from then
// on, and no thread of the process comes to its end before that is over.
extern std::atomic<bool> libraryIsUnloading;
