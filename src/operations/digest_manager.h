// The digest that a session makes, with the hash classes of the card-access library.
#pragma once

#include "tavrik/cryptoki.h"
#include "tavrik/hex_binary.h"

#include <memory>

// Once begun, the operation stays active until it is begun again or the user logs out.
struct DigestManager
{
    // CKR_MECHANISM_INVALID, logged, leaves it inactive.
    CK_RV Init(CK_SESSION_HANDLE session, const CK_MECHANISM* requested);

    // The length of the digest in bytes; 0 with CKR_MECHANISM_INVALID when there is no mechanism.
    CK_RV GetLength(uint32_t& length) const;

    void SetData(std::unique_ptr<HexBinary> data);

    // Hashes into `output`, which has the length that GetLength gives. CKR_DATA_INVALID without data. Throws
    // what MakeHash throws.
    CK_RV Digest(HexBinary& output) const;

    // Back to inactive.
    void Reset();

    std::unique_ptr<HexBinary> inputData;
    CK_SESSION_HANDLE sessionHandle = 0;
    CK_MECHANISM_TYPE mechanism = 0;
    bool active = false;
};
