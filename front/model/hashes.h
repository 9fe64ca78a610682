// The hash functions and the mechanisms that use them.
#pragma once

#include "front/abi/cryptoki.h"

#include <array>

namespace front {

struct Hash
{
    CK_MECHANISM_TYPE digest;
    CK_MECHANISM_TYPE signature; // hash and sign with RSA, by PKCS#1
    const char* name;            // Botan's
};

inline constexpr std::array<Hash, 5> hashes = {{{CKM_SHA_1, CKM_SHA1_RSA_PKCS, "SHA-1"},
                                                {CKM_SHA224, CKM_SHA224_RSA_PKCS, "SHA-224"},
                                                {CKM_SHA256, CKM_SHA256_RSA_PKCS, "SHA-256"},
                                                {CKM_SHA384, CKM_SHA384_RSA_PKCS, "SHA-384"},
                                                {CKM_SHA512, CKM_SHA512_RSA_PKCS, "SHA-512"}}};

// Null for another mechanism.
const Hash* HashOfDigest(CK_MECHANISM_TYPE mechanism);
const Hash* HashOfSignature(CK_MECHANISM_TYPE mechanism);

} // namespace front
