// What stands for an RSA private key wherever Botan makes a signer or a decryptor of it, and makes these in another way.
#pragma once

#include "src/botan/forwarding_key.h"
#include "src/botan/key_operations.h"

// The two below take Botan's calls.
class SignatureMaker : public SigningOperation
{
    void update(std::span<const uint8_t> message) final { Add(message); }
    std::vector<uint8_t> sign(Botan::RandomNumberGenerator& /*random*/) final { return Finish(); }
    [[nodiscard]] std::string hash_function() const final { return HashName(); }
};

class DecryptionMaker : public DecryptingOperation
{
    Botan::secure_vector<uint8_t> decrypt(uint8_t& validMask, std::span<const uint8_t> data) final
    {
        return Decrypt(validMask, data);
    }
};

class KeyStandIn : public ForwardingKey
{
public:
    using ForwardingKey::ForwardingKey;

    [[nodiscard]] std::vector<uint8_t> raw_public_key_bits() const final
    {
        return Key().raw_public_key_bits();
    }
    [[nodiscard]] std::unique_ptr<Botan::Public_Key> public_key() const final { return Key().public_key(); }
    [[nodiscard]] bool supports_operation(Botan::PublicKeyOperation operation) const final
    {
        return Key().supports_operation(operation);
    }
    [[nodiscard]] std::unique_ptr<Botan::Private_Key>
    generate_another(Botan::RandomNumberGenerator& random) const final
    {
        return Key().generate_another(random);
    }

    std::unique_ptr<Botan::PK_Ops::Signature> create_signature_op(Botan::RandomNumberGenerator& random,
                                                                  std::string_view padding,
                                                                  std::string_view provider) const final
    {
        RequireOwnProvider(provider);
        return MakeSignature(random, std::string(padding));
    }
    std::unique_ptr<Botan::PK_Ops::Decryption> create_decryption_op(Botan::RandomNumberGenerator& random,
                                                                    std::string_view padding,
                                                                    std::string_view provider) const final
    {
        RequireOwnProvider(provider);
        return MakeDecryption(random, std::string(padding));
    }
};
