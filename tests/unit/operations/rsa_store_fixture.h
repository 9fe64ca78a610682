// The store with a card, a session and objects with chosen attributes.
#pragma once

#include "src/operations/rsa_operation.h"
#include "tests/unit/log/log_capture.h"
#include "tests/unit/store/store_fixture.h"

#include <memory>

class RsaStoreTest : public StoreTest
{
protected:
    RsaStoreTest();

    // A public key object of the ordinary slot with these parts, big-endian.
    CK_OBJECT_HANDLE AddKey(const Bytes& modulus, const Bytes& exponent) const;
    static PkcsObject& ObjectOf(CK_OBJECT_HANDLE handle) { return *Cache().GetObject(handle); }

    static void RemoveAttribute(PkcsObject& object, CK_ATTRIBUTE_TYPE type);
    static void SetAttribute(PkcsObject& object, CK_ATTRIBUTE_TYPE type, const Bytes& value);

    static std::unique_ptr<HexBinary> Value(const Bytes& bytes);

    static constexpr CardSession cardSession = 61;
    StoredCard card;
    CK_SESSION_HANDLE session;
    const CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
};

// The message of a leaving line.
std::string Leaving(const std::string& result);

// The modulus and the exponent of a key, big-endian, and bytes of a number.
struct KeyParts
{
    Bytes modulus;
    Bytes exponent;
};
KeyParts TestKeyParts(); // of the key of 1024 bits
