// What the card does with its private keys.
#pragma once

#include <botan/rsa.h>

#include <cstdint>
#include <span>
#include <vector>

namespace softcard {

// A PKCS#1 v1.5 signature. Reference 1 signs the bytes as they stand; 2, 3 and 4 take the bare SHA-256,
// SHA-384 or SHA-512 hash and put the DigestInfo around it. Throws CardError for data that does not fit.
std::vector<uint8_t> Sign(const Botan::RSA_PrivateKey& key, uint32_t reference,
                          std::span<const uint8_t> data);

// Undoes a PKCS#1 v1.5 encryption, which may have the byte 0x81 in front. Throws CardError for data that is
// not one for this key.
Botan::secure_vector<uint8_t> Decrypt(const Botan::RSA_PrivateKey& key, std::span<const uint8_t> data);

} // namespace softcard
