// What a key that stands for an RSA private key has of that one with each version of Botan.
#pragma once

#include <botan/exceptn.h>
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

// Refers to its key. Only Botan's own provider is known, by an empty name.
class ForwardingKey : public Botan::Private_Key
{
public:
    explicit ForwardingKey(const Botan::RSA_PrivateKey& itsKey) : key(itsKey) {}

    [[nodiscard]] std::string algo_name() const final { return key.algo_name(); }
    [[nodiscard]] std::size_t estimated_strength() const final { return key.estimated_strength(); }
    [[nodiscard]] std::size_t key_length() const final { return key.key_length(); }
    [[nodiscard]] Botan::AlgorithmIdentifier algorithm_identifier() const final
    {
        return key.algorithm_identifier();
    }
    [[nodiscard]] std::vector<uint8_t> public_key_bits() const final { return key.public_key_bits(); }
    [[nodiscard]] Botan::secure_vector<uint8_t> private_key_bits() const final
    {
        return key.private_key_bits();
    }
    bool check_key(Botan::RandomNumberGenerator& random, bool strong) const final
    {
        return key.check_key(random, strong);
    }

protected:
    [[nodiscard]] const Botan::RSA_PrivateKey& Key() const { return key; }

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

private:
    const Botan::RSA_PrivateKey& key;
};
