// Cryptoki 2.20 as applications on Linux speak it: records in their natural alignment, CK_ULONG and with it
// every handle and slot id as wide as `unsigned long`. All of it stands in the namespace `front`; the packed
// form that the library speaks is in `packed`. The numbers of the constants are the same in both and are
// taken from there.
#pragma once

#include <cstdint>

namespace packed {
#include "tavrik/cryptoki.h"
} // namespace packed

#undef CK_UNAVAILABLE_INFORMATION // the one number that differs with the width

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

inline constexpr CK_ULONG unavailableInformation = ~CK_ULONG{0}; // CK_UNAVAILABLE_INFORMATION
inline constexpr CK_ULONG effectivelyInfinite = 0;               // CK_EFFECTIVELY_INFINITE

// Constants of the standard that the packed form has no use for.
inline constexpr CK_FLAGS dontBlock = 0x1;          // CKF_DONT_BLOCK
inline constexpr CK_FLAGS hasRandomGenerator = 0x1; // CKF_RNG
inline constexpr CK_FLAGS writeProtected = 0x2;     // CKF_WRITE_PROTECTED
inline constexpr CK_STATE rwPublicSession = 2;      // CKS_RW_PUBLIC_SESSION
inline constexpr CK_STATE rwUserFunctions = 3;      // CKS_RW_USER_FUNCTIONS
inline constexpr CK_MECHANISM_TYPE sha1RsaPkcs = 0x6;
inline constexpr CK_MECHANISM_TYPE sha224RsaPkcs = 0x46;
inline constexpr CK_MECHANISM_TYPE sha384RsaPkcs = 0x41;
inline constexpr CK_MECHANISM_TYPE sha512RsaPkcs = 0x42;

} // namespace front
