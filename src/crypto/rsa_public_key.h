// The public key of an object, as verifying and encrypting use it.
#pragma once

#include "tavrik/rsa.h"

#include <botan/bigint.h>

#include <cstdint>
#include <memory>
#include <vector>

// Newer versions of Botan make no keys of some numbers that older ones take: of fewer than 384 or more than 16,384 bits, or
// with a large exponent. With those this class computes by itself, whatever Botan there is. Its functions can be called on
// several threads at once.
class RsaPublicKey
{
public:
    // Big-endian numbers. Throws Botan::Decoding_Error for a modulus below 5 bits, an exponent below 2 bits, and even ones.
    RsaPublicKey(const std::vector<uint8_t>& modulus, const std::vector<uint8_t>& exponent);

    // Null for numbers that Botan does not take.
    [[nodiscard]] Zelmo::Crypto::RSAPubKey* OfBotan() const { return botanKey.get(); }

    // The block without padding, as long as the modulus. Throws std::exception for one that is not below the modulus.
    [[nodiscard]] std::vector<uint8_t> Encrypt(std::vector<uint8_t> block) const;

    // Whether the signature's block of PKCS#1 v1.5 holds the message. Only for numbers that Botan does not take.
    [[nodiscard]] bool Verify(const std::vector<uint8_t>& message,
                              const std::vector<uint8_t>& signature) const;

private:
    [[nodiscard]] Botan::BigInt Power(const std::vector<uint8_t>& number) const;

    Botan::BigInt modulus;
    Botan::BigInt exponent;
    std::unique_ptr<Zelmo::Crypto::RSAPubKey> botanKey;
};
