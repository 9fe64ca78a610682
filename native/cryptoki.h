// Cryptoki 2.20 as applications on Linux speak it: records in their natural alignment, CK_ULONG and with it
// every handle and slot id as wide as `unsigned long`. All of it stands in the namespace `native`; the packed
// form that the library speaks is in `packed`. The numbers of the constants are the same in both and are
// taken from there.
#pragma once

#include <cstdint>

namespace packed {
#include "pkcs11/cryptoki.h"
} // namespace packed

#undef CK_UNAVAILABLE_INFORMATION // the one number that differs with the width

namespace native {

using CK_BYTE = unsigned char;
using CK_CHAR = CK_BYTE;
using CK_UTF8CHAR = CK_BYTE;
using CK_BBOOL = CK_BYTE;
using CK_ULONG = unsigned long;
using CK_FLAGS = CK_ULONG;
using CK_RV = CK_ULONG;
using CK_SLOT_ID = CK_ULONG;
using CK_SESSION_HANDLE = CK_ULONG;
using CK_OBJECT_HANDLE = CK_ULONG;
using CK_USER_TYPE = CK_ULONG;
using CK_STATE = CK_ULONG;
using CK_NOTIFICATION = CK_ULONG;
using CK_ATTRIBUTE_TYPE = CK_ULONG;
using CK_MECHANISM_TYPE = CK_ULONG;

using CK_VOID_PTR = void*;
using CK_VOID_PTR_PTR = CK_VOID_PTR*;
using CK_BYTE_PTR = CK_BYTE*;
using CK_UTF8CHAR_PTR = CK_UTF8CHAR*;
using CK_ULONG_PTR = CK_ULONG*;
using CK_SLOT_ID_PTR = CK_SLOT_ID*;
using CK_SESSION_HANDLE_PTR = CK_SESSION_HANDLE*;
using CK_OBJECT_HANDLE_PTR = CK_OBJECT_HANDLE*;
using CK_MECHANISM_TYPE_PTR = CK_MECHANISM_TYPE*;

using CK_NOTIFY = CK_RV (*)(CK_SESSION_HANDLE session, CK_NOTIFICATION event, CK_VOID_PTR application);
using CK_CREATEMUTEX = CK_RV (*)(CK_VOID_PTR_PTR mutex);
using CK_DESTROYMUTEX = CK_RV (*)(CK_VOID_PTR mutex);
using CK_LOCKMUTEX = CK_RV (*)(CK_VOID_PTR mutex);
using CK_UNLOCKMUTEX = CK_RV (*)(CK_VOID_PTR mutex);

struct CK_VERSION
{
    CK_BYTE major;
    CK_BYTE minor;
};

struct CK_INFO
{
    CK_VERSION cryptokiVersion;
    CK_UTF8CHAR manufacturerID[32];
    CK_FLAGS flags;
    CK_UTF8CHAR libraryDescription[32];
    CK_VERSION libraryVersion;
};
using CK_INFO_PTR = CK_INFO*;

struct CK_SLOT_INFO
{
    CK_UTF8CHAR slotDescription[64];
    CK_UTF8CHAR manufacturerID[32];
    CK_FLAGS flags;
    CK_VERSION hardwareVersion;
    CK_VERSION firmwareVersion;
};
using CK_SLOT_INFO_PTR = CK_SLOT_INFO*;

struct CK_TOKEN_INFO
{
    CK_UTF8CHAR label[32];
    CK_UTF8CHAR manufacturerID[32];
    CK_UTF8CHAR model[16];
    CK_CHAR serialNumber[16];
    CK_FLAGS flags;
    CK_ULONG ulMaxSessionCount;
    CK_ULONG ulSessionCount;
    CK_ULONG ulMaxRwSessionCount;
    CK_ULONG ulRwSessionCount;
    CK_ULONG ulMaxPinLen;
    CK_ULONG ulMinPinLen;
    CK_ULONG ulTotalPublicMemory;
    CK_ULONG ulFreePublicMemory;
    CK_ULONG ulTotalPrivateMemory;
    CK_ULONG ulFreePrivateMemory;
    CK_VERSION hardwareVersion;
    CK_VERSION firmwareVersion;
    CK_CHAR utcTime[16];
};
using CK_TOKEN_INFO_PTR = CK_TOKEN_INFO*;

struct CK_SESSION_INFO
{
    CK_SLOT_ID slotID;
    CK_STATE state;
    CK_FLAGS flags;
    CK_ULONG ulDeviceError;
};
using CK_SESSION_INFO_PTR = CK_SESSION_INFO*;

struct CK_ATTRIBUTE
{
    CK_ATTRIBUTE_TYPE type;
    CK_VOID_PTR pValue;
    CK_ULONG ulValueLen;
};
using CK_ATTRIBUTE_PTR = CK_ATTRIBUTE*;

struct CK_MECHANISM
{
    CK_MECHANISM_TYPE mechanism;
    CK_VOID_PTR pParameter;
    CK_ULONG ulParameterLen;
};
using CK_MECHANISM_PTR = CK_MECHANISM*;

struct CK_MECHANISM_INFO
{
    CK_ULONG ulMinKeySize;
    CK_ULONG ulMaxKeySize;
    CK_FLAGS flags;
};
using CK_MECHANISM_INFO_PTR = CK_MECHANISM_INFO*;

struct CK_C_INITIALIZE_ARGS
{
    CK_CREATEMUTEX CreateMutex;
    CK_DESTROYMUTEX DestroyMutex;
    CK_LOCKMUTEX LockMutex;
    CK_UNLOCKMUTEX UnlockMutex;
    CK_FLAGS flags;
    CK_VOID_PTR pReserved;
};

struct CK_FUNCTION_LIST;
using CK_FUNCTION_LIST_PTR = CK_FUNCTION_LIST*;
using CK_FUNCTION_LIST_PTR_PTR = CK_FUNCTION_LIST_PTR*;

// The exported functions. They have C++ linkage under their C names, because the packed prototypes have the
// same names with other types.
#define CRYPTOKI_WORKS(name, parameters) CK_RV name parameters __asm__(#name);
#define CRYPTOKI_REFUSES(name, parameters, answer) CK_RV name parameters __asm__(#name);
#include "pkcs11/functions.inc"
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS

struct CK_FUNCTION_LIST
{
    CK_VERSION version;
// NOLINTBEGIN(bugprone-macro-parentheses): declarators, not expressions
#define CRYPTOKI_WORKS(name, parameters) CK_RV(*name) parameters;
#define CRYPTOKI_REFUSES(name, parameters, answer) CK_RV(*name) parameters;
// NOLINTEND(bugprone-macro-parentheses)
#include "pkcs11/functions.inc" // NOLINT(readability-duplicate-include): once for the prototypes, once for the list
#undef CRYPTOKI_REFUSES
#undef CRYPTOKI_WORKS
};

inline constexpr CK_ULONG unavailableInformation = ~CK_ULONG{0}; // CK_UNAVAILABLE_INFORMATION
inline constexpr CK_ULONG effectivelyInfinite = 0;               // CK_EFFECTIVELY_INFINITE

// Constants of the standard that the packed form has no use for.
inline constexpr CK_FLAGS dontBlock = 0x1;          // CKF_DONT_BLOCK
inline constexpr CK_FLAGS hasRandomGenerator = 0x1; // CKF_RNG
inline constexpr CK_STATE rwPublicSession = 2;      // CKS_RW_PUBLIC_SESSION
inline constexpr CK_STATE rwUserFunctions = 3;      // CKS_RW_USER_FUNCTIONS
inline constexpr CK_MECHANISM_TYPE sha1RsaPkcs = 0x6;
inline constexpr CK_MECHANISM_TYPE sha224RsaPkcs = 0x46;
inline constexpr CK_MECHANISM_TYPE sha384RsaPkcs = 0x41;
inline constexpr CK_MECHANISM_TYPE sha512RsaPkcs = 0x42;

} // namespace native
