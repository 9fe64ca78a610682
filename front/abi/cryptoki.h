// Cryptoki 2.20 to 3.0 as the system's applications speak it: CK_ULONG and with it every handle and slot id as wide as
// `unsigned long`, and records in their natural alignment on Linux, packed to one byte on Windows, where `unsigned long`
// has 32 bits. All of it stands in the namespace `front`; the form that the library speaks, which is that of Windows on
// every system, is in `packed`. The constants are macros of the library's header and have the same numbers in both forms,
// but for one.
#pragma once

#include <cstddef>
#include <cstdint>

namespace packed {
#include "tavrik/cryptoki.h"
} // namespace packed

// The one constant that differs with the width of CK_ULONG.
#undef CK_UNAVAILABLE_INFORMATION
#define CK_UNAVAILABLE_INFORMATION (~0UL)

namespace front {

using CK_ULONG = unsigned long;
#include TAVRIK_HOST_RECORDS

// The exported functions. They have C++ linkage under their C names, because the packed prototypes have the
// same names with other types.
#define CRYPTOKI_WORKS(name, parameters) CK_RV name parameters __asm__(#name);
#define CRYPTOKI_REFUSES(name, parameters, answer) CK_RV name parameters __asm__(#name);
#define CRYPTOKI_3_WORKS CRYPTOKI_WORKS
#define CRYPTOKI_3_REFUSES CRYPTOKI_REFUSES
#include "tavrik/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS

// A length or a number of things as applications read it, which on Windows has 32 bits. What a call can have asked for or
// have made fits.
constexpr CK_ULONG ToUlong(std::size_t number)
{
    return static_cast<CK_ULONG>(number);
}

} // namespace front
