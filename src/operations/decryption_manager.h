// The decryption that a session has the card make, always with a key of the ordinary family.
#pragma once

#include "src/operations/rsa_operation.h"
#include "tavrik/hex_binary.h"

#include <memory>

// Once begun, the operation stays active until it is begun again.
struct DecryptionManager
{
    CK_RV Init(CK_SESSION_HANDLE session, const CK_MECHANISM* requested, CK_OBJECT_HANDLE key);

    // The length of the key's modulus in bytes; 0 with a failure.
    CK_RV GetLength(uint32_t& length) const;

    // Stores the encrypted data with the byte in front that the card wants.
    void SetData(const HexBinary& data);

    // Has the card decrypt into `output` and writes the number of bytes, which is 0 when the card was removed.
    // CKR_DATA_INVALID without data, CKR_FUNCTION_FAILED without a key or when the card fails,
    // CKR_KEY_HANDLE_INVALID when no certificate has the key's CKA_ID.
    CK_RV Decrypt(HexBinary& output, uint32_t& outputLength) const;

    RsaOperation operation;
    std::unique_ptr<HexBinary> inputData;

private:
    CK_RV DecryptOnCard(uint32_t certificateIndex, HexBinary& output, uint32_t& outputLength) const;
};
