// Cryptoki 2.20 as applications on Linux speak it: records in their natural alignment, CK_ULONG and with it
// every handle and slot id as wide as `unsigned long`. All of it stands in the namespace `front`; the packed
// form that the library speaks is in `packed`. The constants are macros of the library's header and have the
// same numbers in both forms, but for one.
#pragma once

#include <cstdint>

namespace packed {
#include "tavrik/cryptoki.h"
} // namespace packed

// The one constant that differs with the width of CK_ULONG.
#undef CK_UNAVAILABLE_INFORMATION
#define CK_UNAVAILABLE_INFORMATION (~0UL)

namespace front {

using CK_ULONG = unsigned long;
#include "tavrik/records.inc"

// The exported functions. They have C++ linkage under their C names, because the packed prototypes have the
// same names with other types.
#define CRYPTOKI_WORKS(name, parameters) CK_RV name parameters __asm__(#name);
#define CRYPTOKI_REFUSES(name, parameters, answer) CK_RV name parameters __asm__(#name);
#include "tavrik/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS

} // namespace front
