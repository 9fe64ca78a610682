// The mechanisms of the front. Lists, infos and the starts of operations read this one table.
#pragma once

#include "front/library/library.h"

#include <array>

namespace front {

struct KeySizes
{
    CK_ULONG smallest = 0; // bits
    CK_ULONG largest = 0;
};

struct Mechanism
{
    CK_MECHANISM_TYPE type;
    CK_FLAGS operations;      // that it can be begun with: CKF_DIGEST, CKF_SIGN ...
    const char* hash;         // Botan's name of the hash function; null for a mechanism that does not hash
    bool usesRsaKey;          // listed for RSA keys alone, with their sizes in bits; others need no key
    CK_ULONG parameterLength; // bytes
};

// In the order of C_GetMechanismList.
inline constexpr std::array mechanisms = {
    Mechanism{CKM_RSA_PKCS, CKF_SIGN | CKF_VERIFY | CKF_ENCRYPT | CKF_DECRYPT, nullptr, true, 0},
    Mechanism{CKM_SHA1_RSA_PKCS, CKF_SIGN | CKF_VERIFY, "SHA-1", true, 0},
    Mechanism{CKM_SHA224_RSA_PKCS, CKF_SIGN | CKF_VERIFY, "SHA-224", true, 0},
    Mechanism{CKM_SHA256_RSA_PKCS, CKF_SIGN | CKF_VERIFY, "SHA-256", true, 0},
    Mechanism{CKM_SHA384_RSA_PKCS, CKF_SIGN | CKF_VERIFY, "SHA-384", true, 0},
    Mechanism{CKM_SHA512_RSA_PKCS, CKF_SIGN | CKF_VERIFY, "SHA-512", true, 0},
    Mechanism{CKM_SHA_1, CKF_DIGEST, "SHA-1", false, 0},
    Mechanism{CKM_SHA224, CKF_DIGEST, "SHA-224", false, 0},
    Mechanism{CKM_SHA256, CKF_DIGEST, "SHA-256", false, 0},
    Mechanism{CKM_SHA384, CKF_DIGEST, "SHA-384", false, 0},
    Mechanism{CKM_SHA512, CKF_DIGEST, "SHA-512", false, 0},
};

// Those that C_GetMechanismList lists for a slot.
std::vector<CK_MECHANISM_TYPE> ListedMechanisms(const SlotFacts& slot);

// Refuses with CKR_MECHANISM_INVALID one that is not listed for the slot. `sizes` are those of the slot's keys.
CK_MECHANISM_INFO MechanismInfo(CK_MECHANISM_TYPE type, const SlotFacts& slot, const KeySizes& sizes);

// The mechanism that an operation is begun with. Refuses a null pointer with CKR_ARGUMENTS_BAD, and with
// CKR_MECHANISM_INVALID a mechanism that is not for this operation (CKF_DIGEST, CKF_SIGN ...).
const Mechanism& MechanismFor(CK_FLAGS operation, const CK_MECHANISM* given);

// Refuses a parameter of another length with CKR_MECHANISM_PARAM_INVALID.
void CheckParameter(const Mechanism& mechanism, const CK_MECHANISM& given);

} // namespace front
