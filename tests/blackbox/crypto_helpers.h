// What the tests of verifying, encrypting, decrypting and digests have in common.
#pragma once

#include "tests/blackbox/sign_helpers.h"

#include <botan/rsa.h>

#include <functional>

namespace blackbox {

using Result = Signature; // of any operation that writes bytes and their number

// The bytes of a block of PKCS#1 v1.5 for signatures that is `length` bytes long: 00 01, ones, 00, the
// content.
Bytes SignatureBlock(size_t length, const Bytes& content);
size_t ModulusLength(const Botan::RSA_PublicKey& key); // bytes

// The bare RSA operations on a block, with a result of the modulus's length.
Bytes PrivateOperation(const Botan::RSA_PrivateKey& key, const Bytes& block);
Bytes PublicOperation(const Botan::RSA_PublicKey& key, const Bytes& block);

struct SignedData
{
    Bytes data;
    Bytes signature; // never with a zero in front, which the library takes for a bad argument
};
// Data that fit `choose`, and the signature that the private operation makes of their block. Other data are
// tried until the signature does not begin with a zero.
SignedData SignBlock(const Botan::RSA_PrivateKey& key,
                     const std::function<Bytes(const Bytes& digestInfo)>& blockOf);
// The same with the block as it has to be.
SignedData SignWell(const Botan::RSA_PrivateKey& key);

Bytes BigEndian(const Botan::BigInt& number);
Bytes Repeated(uint8_t byte, size_t count);

class CryptoTest : public SigningTest
{
protected:
    // A session on the slot of a card without keys or certificates, without a login; the calls are forgotten.
    CK_SESSION_HANDLE StartSession(CK_SLOT_ID slot = ordinarySlot, Card card = {});

    // Public key objects of the session's slot. Fail the test unless they are made.
    CK_OBJECT_HANDLE CreateKey(CK_SESSION_HANDLE session, const Bytes& modulus, const Bytes& exponent);
    CK_OBJECT_HANDLE CreateKey(CK_SESSION_HANDLE session, const Botan::RSA_PublicKey& key);

    // Each with CKM_RSA_PKCS unless told otherwise, and without a parameter.
    CK_RV VerifyInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE type = CKM_RSA_PKCS);
    CK_RV EncryptInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE type = CKM_RSA_PKCS);
    CK_RV DecryptInit(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, CK_MECHANISM_TYPE type = CKM_RSA_PKCS);
    CK_RV DigestInit(CK_SESSION_HANDLE session, CK_MECHANISM_TYPE type);

    CK_RV Verify(CK_SESSION_HANDLE session, const Bytes& data, const Bytes& signature);
    CK_RV Verify(CK_SESSION_HANDLE session, const SignedData& pair);

    // With a buffer, whose bytes behind the result must stay as they were.
    Result Encrypt(CK_SESSION_HANDLE session, const Bytes& data);
    Result Decrypt(CK_SESSION_HANDLE session, const Bytes& data);
    Result Digest(CK_SESSION_HANDLE session, const Bytes& data);

    // Without a buffer.
    Result EncryptLength(CK_SESSION_HANDLE session);
    Result DecryptLength(CK_SESSION_HANDLE session);
    Result DigestLength(CK_SESSION_HANDLE session);

private:
    using OutputFunction = CK_RV (*)(CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG, CK_BYTE_PTR, CK_ULONG_PTR);
    static Result Produce(OutputFunction function, CK_SESSION_HANDLE session, const Bytes& data);
    static Result AskFor(OutputFunction function, CK_SESSION_HANDLE session);
};

} // namespace blackbox
