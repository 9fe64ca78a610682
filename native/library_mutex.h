// The mutex callbacks that the front gives the library. The gate already lets one thread at a time through;
// what the callbacks add is a mutex that a forked child can have anew, whatever the parent's threads held.
#pragma once

#include "native/cryptoki.h"

namespace native {

packed::CK_C_INITIALIZE_ARGS LibraryMutexArguments();
void RenewLibraryMutex();

} // namespace native
