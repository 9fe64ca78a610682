// The check of signatures that a session makes, in software.
#pragma once

#include "src/crypto/rsa_public_key.h"
#include "src/operations/rsa_operation.h"
#include "tavrik/hex_binary.h"
#include "tavrik/rsa.h"

#include <memory>

// Once begun, the operation stays active: any number of signatures can be checked with its key.
struct VerifyManager
{
    CK_RV Init(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, const CK_MECHANISM* requested);

    void SetData(std::unique_ptr<HexBinary> newSignature, std::unique_ptr<HexBinary> newMessage);

    // Writes to `result` whether the signature is that of the message, which is compared as it stands with
    // the content of the signature's block. Writes nothing when the check can't be made; the log has the reason.
    void Verify(bool& result);

    RsaOperation operation;
    std::unique_ptr<HexBinary> signature;
    std::unique_ptr<HexBinary> message;

private:
    // Makes the verifier, at the first check. CKR_ATTRIBUTE_TYPE_INVALID when the key has no such
    // parts, CKR_FUNCTION_FAILED when there is no key. Throws what Botan throws of parts that make no key.
    CK_RV PrepareVerifier();

    std::shared_ptr<RsaPublicKey> publicKey;              // the object's
    std::unique_ptr<Zelmo::Crypto::RsaVerifier> verifier; // null for a key that is none of Botan's
};
