// Attributes that the front makes of others of an object.
#pragma once

#include "front/abi/attributes.h"

#include <map>
#include <span>

namespace front {

// CKA_PUBLIC_KEY_INFO: of a certificate, what is in its CKA_VALUE; of an RSA key, what its numbers make. Empty when there is
// none.
Bytes PublicKeyInfoOf(const Attributes& attributes);

// Adds CKA_PUBLIC_KEY_INFO, and CKA_CHECK_VALUE of a certificate, or CKA_ALLOWED_MECHANISMS of a key. Nothing that is there
// is replaced.
void AddDerived(Attributes& attributes);

// CKA_UNIQUE_ID of the objects of a card's slot, which are given in the card's order: the same each time for the same
// object, from process to process.
class UniqueIds
{
public:
    // `certificate` is the CKA_VALUE of the certificate with the same CKA_ID, or empty.
    Bytes OfCardObject(const Attributes& attributes, std::span<const uint8_t> certificate);

private:
    std::map<Bytes, uint32_t> alike; // how many objects had the same content
};

// CKA_UNIQUE_ID of an object that an application makes: of no other object in this process.
Bytes NewUniqueId(const Attributes& attributes);

} // namespace front
