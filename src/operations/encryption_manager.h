// The encryption for a public key that a session makes, in software.
#pragma once

#include "src/operations/rsa_operation.h"
#include "tavrik/hex_binary.h"

#include <memory>

// Once begun, the operation stays active until it is begun again.
struct EncryptionManager
{
    CK_RV Init(CK_SESSION_HANDLE session, const CK_MECHANISM* requested, CK_OBJECT_HANDLE key);

    // The length of the result in bytes; 0 with a failure.
    CK_RV GetLength(uint32_t& length) const;

    void SetData(std::unique_ptr<HexBinary> data);

    // Encrypts into `output`, which has the length that GetLength gives. CKR_DATA_INVALID without data,
    // CKR_DATA_LEN_RANGE for data that don't fit the key, CKR_ATTRIBUTE_TYPE_INVALID for a key without its
    // parts, CKR_FUNCTION_FAILED without a key or with one that Botan can't use.
    CK_RV Encrypt(HexBinary& output) const;

    RsaOperation operation;
    std::unique_ptr<HexBinary> inputData;

private:
    CK_RV EncryptBlock(HexBinary& output) const;
};
