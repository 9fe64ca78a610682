// What signs and decrypts with a key, with each version of Botan.
#pragma once

#include <botan/pk_ops.h>
#include <botan/rng.h>

#include <cstdint>
#include <span>
#include <string>
#include <utility>

// As Botan takes them: in a vector of its own kind or in an ordinary one.
using SignatureBytes =
    decltype(std::declval<Botan::PK_Ops::Signature&>().sign(std::declval<Botan::RandomNumberGenerator&>()));

class SigningOperation : public Botan::PK_Ops::Signature
{
public:
    virtual void Add(std::span<const uint8_t> message) = 0;
    // Signs what was added; the next message begins.
    virtual SignatureBytes Finish() = 0;
    // The name of the hash function; empty for none.
    [[nodiscard]] virtual std::string HashName() const = 0;
};

class DecryptingOperation : public Botan::PK_Ops::Decryption
{
public:
    // `validMask` becomes 0xFF, or 0 for what the key's public half has not encrypted.
    virtual Botan::secure_vector<uint8_t> Decrypt(uint8_t& validMask, std::span<const uint8_t> data) = 0;
};
