// The objects of a slot, made of its certificates and of its keys. Nothing here asks the card or knows the store.
#pragma once

#include "src/objects/pkcs_object.h"

#include <botan/x509cert.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Where an object belongs.
struct ObjectPlace
{
    CK_SLOT_ID slotId;
    std::string id; // CKA_ID, which ties a certificate to its key
    bool ordinary; // the keys of the slot also encrypt and decrypt, and sign without a PIN for each signature
};

// An RSA key as the card or the application describes it.
struct KeyDescription
{
    uint32_t keyReference;        // the card's number of the key
    uint32_t modulusBits;         // as it goes into CKA_MODULUS_BITS, whatever the length of the modulus
    std::vector<uint8_t> modulus; // as it goes into CKA_MODULUS; may be empty
    std::vector<uint8_t> publicExponent;
};

// Throws what Botan throws of a certificate without one of the values.
std::shared_ptr<PkcsObject> MakeCertificateObject(CK_OBJECT_HANDLE handle, const ObjectPlace& place,
                                                  const Botan::X509_Certificate& certificate);

// `subject` is the name in DER of the key's certificate.
std::shared_ptr<PkcsObject> MakePrivateKeyObject(CK_OBJECT_HANDLE handle, const ObjectPlace& place,
                                                 const KeyDescription& key,
                                                 const std::vector<uint8_t>& subject);

// `verify` is the value of CKA_VERIFY, any byte.
std::shared_ptr<PkcsObject> MakePublicKeyObject(CK_OBJECT_HANDLE handle, const ObjectPlace& place,
                                                const KeyDescription& key, CK_BBOOL verify);
