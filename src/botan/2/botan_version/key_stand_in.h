// What stands for an RSA private key wherever Botan makes a signer or a decryptor of it, and makes these in another way.
#pragma once

#include "src/botan/forwarding_key.h"

using SignatureBytes = Botan::secure_vector<uint8_t>; // as Botan takes them

class SignatureMaker : public Botan::PK_Ops::Signature
{
public:
    virtual void Add(std::span<const uint8_t> message) = 0;
    // Signs what was added; the next message begins.
    virtual SignatureBytes Finish() = 0;
    // The name of the hash function; empty for none.
    [[nodiscard]] virtual std::string HashName() const = 0;

private:
    void update(const uint8_t* message, std::size_t length) final { Add({message, length}); }
    Botan::secure_vector<uint8_t> sign(Botan::RandomNumberGenerator& /*random*/) final { return Finish(); }
};

class Decryption : public Botan::PK_Ops::Decryption
{
public:
    // `validMask` becomes 0xFF, or 0 for what the key's public half has not encrypted.
    virtual Botan::secure_vector<uint8_t> Decrypt(uint8_t& validMask, std::span<const uint8_t> data) = 0;

private:
    Botan::secure_vector<uint8_t> decrypt(uint8_t& validMask, const uint8_t* data, std::size_t length) final
    {
        return Decrypt(validMask, {data, length});
    }
};

class KeyStandIn : public ForwardingKey
{
public:
    using ForwardingKey::ForwardingKey;

    std::unique_ptr<Botan::PK_Ops::Signature> create_signature_op(Botan::RandomNumberGenerator& random,
                                                                  const std::string& padding,
                                                                  const std::string& provider) const final
    {
        RequireOwnProvider(provider);
        return MakeSignature(random, padding);
    }
    std::unique_ptr<Botan::PK_Ops::Decryption> create_decryption_op(Botan::RandomNumberGenerator& random,
                                                                    const std::string& padding,
                                                                    const std::string& provider) const final
    {
        RequireOwnProvider(provider);
        return MakeDecryption(random, padding);
    }
};
