// What the card does with its private keys.
#pragma once

#include "softcard/card/card_store.h"
#include "softcard/cardapi/system/private_power.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace softcard {

// Keys that a code has opened, ready for use.
using OpenedKeys = std::vector<std::shared_ptr<const PrivatePower>>;
OpenedKeys PrepareKeys(const PrivateKeys& keys);

// A PKCS#1 v1.5 signature. Reference 1 signs the bytes as they stand; 2, 3 and 4 take the bare SHA-256,
// SHA-384 or SHA-512 hash and put the DigestInfo around it. Throws CardError for data that does not fit.
Botan::secure_vector<uint8_t> Sign(const PrivatePower& key, uint32_t reference,
                                   std::span<const uint8_t> data);

// Undoes a PKCS#1 v1.5 encryption, which may have the byte 0x81 in front. Throws CardError for data that is
// not one for this key.
Botan::secure_vector<uint8_t> Decrypt(const PrivatePower& key, std::span<const uint8_t> data);

} // namespace softcard
