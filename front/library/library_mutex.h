// The mutex callbacks that the front gives the library. LibraryAccess already lets one thread at a time
// call it; what the callbacks add is a mutex that a forked child can have anew, whatever the parent's threads held,
// and that a call which needs no turn passes.
#pragma once

#include "front/abi/cryptoki.h"

namespace front {

packed::CK_C_INITIALIZE_ARGS LibraryMutexArguments();
void RenewLibraryMutex();

// As long as it lives, the calls that this thread makes to the library don't take its mutex. Only for those
// that look up slots or ask a card what it tells of itself: their records stand behind locks of the library's
// own, because its thread that follows the readers changes them at any time.
class WithoutLibraryMutex
{
public:
    WithoutLibraryMutex();
    ~WithoutLibraryMutex();
    WithoutLibraryMutex(const WithoutLibraryMutex&) = delete;
    WithoutLibraryMutex& operator=(const WithoutLibraryMutex&) = delete;
};

} // namespace front
