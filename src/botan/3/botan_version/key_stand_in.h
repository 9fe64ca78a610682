// What stands for an RSA private key wherever Botan makes a signer or a decryptor of it, and makes these in another way.
#pragma once

#include <botan/pk_keys.h>
#include <botan/pk_ops.h>
#include <botan/rsa.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

using SignatureBytes = std::vector<uint8_t>; // as Botan takes them

class SignatureMaker : public Botan::PK_Ops::Signature
{
public:
    virtual void Add(std::span<const uint8_t> message) = 0;
    // Signs what was added; the next message begins.
    virtual SignatureBytes Finish() = 0;
    // The name of the hash function; empty for none.
    [[nodiscard]] virtual std::string HashName() const = 0;

private:
    void update(std::span<const uint8_t> message) final { Add(message); }
    std::vector<uint8_t> sign(Botan::RandomNumberGenerator& /*random*/) final { return Finish(); }
    [[nodiscard]] std::string hash_function() const final { return HashName(); }
};

class Decryption : public Botan::PK_Ops::Decryption
{
public:
    // `validMask` becomes 0xFF, or 0 for what the key's public half has not encrypted.
    virtual Botan::secure_vector<uint8_t> Decrypt(uint8_t& validMask, std::span<const uint8_t> data) = 0;

private:
    Botan::secure_vector<uint8_t> decrypt(uint8_t& validMask, std::span<const uint8_t> data) final
    {
        return Decrypt(validMask, data);
    }
};

// Refers to its key. Only Botan's own provider is known, by an empty name.
class KeyStandIn : public Botan::Private_Key
{
public:
    explicit KeyStandIn(const Botan::RSA_PrivateKey& itsKey) : key(itsKey) {}

    [[nodiscard]] std::string algo_name() const final { return key.algo_name(); }
    [[nodiscard]] std::size_t estimated_strength() const final { return key.estimated_strength(); }
    [[nodiscard]] std::size_t key_length() const final { return key.key_length(); }
    [[nodiscard]] Botan::AlgorithmIdentifier algorithm_identifier() const final
    {
        return key.algorithm_identifier();
    }
    [[nodiscard]] std::vector<uint8_t> public_key_bits() const final { return key.public_key_bits(); }
    [[nodiscard]] std::vector<uint8_t> raw_public_key_bits() const final { return key.raw_public_key_bits(); }
    [[nodiscard]] Botan::secure_vector<uint8_t> private_key_bits() const final
    {
        return key.private_key_bits();
    }
    [[nodiscard]] std::unique_ptr<Botan::Public_Key> public_key() const final { return key.public_key(); }
    [[nodiscard]] bool supports_operation(Botan::PublicKeyOperation operation) const final
    {
        return key.supports_operation(operation);
    }
    [[nodiscard]] std::unique_ptr<Botan::Private_Key>
    generate_another(Botan::RandomNumberGenerator& random) const final
    {
        return key.generate_another(random);
    }
    bool check_key(Botan::RandomNumberGenerator& random, bool strong) const final
    {
        return key.check_key(random, strong);
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

protected:
    [[nodiscard]] const Botan::RSA_PrivateKey& Key() const { return key; }

private:
    // The generator lives longer than what is made. An unknown padding is refused by Botan::Algorithm_Not_Found.
    [[nodiscard]] virtual std::unique_ptr<Botan::PK_Ops::Signature>
    MakeSignature(Botan::RandomNumberGenerator& random, const std::string& padding) const = 0;
    [[nodiscard]] virtual std::unique_ptr<Botan::PK_Ops::Decryption>
    MakeDecryption(Botan::RandomNumberGenerator& random, const std::string& padding) const = 0;

    static void RequireOwnProvider(std::string_view provider)
    {
        if (!provider.empty()) {
            throw Botan::Provider_Not_Found("RSA", std::string(provider));
        }
    }

    const Botan::RSA_PrivateKey& key;
};
