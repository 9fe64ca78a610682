// An RSA private key that computes on the calling thread alone. Botan's own key hands half of each
// computation to a pool of threads that lives as long as the process: a forked child has the pool without its
// threads and hangs in its exit(), and an exit() ends the pool while another thread of the host is using it.
#pragma once

#include <botan/pk_keys.h>
#include <botan/rsa.h>

#include <memory>
#include <string>
#include <vector>

// Stands for the key wherever Botan makes a signer or a decryptor of it. These don't need it, nor the key,
// for longer; they refer to the generator that they are made with. Only Botan's own provider is known, by an
// empty name.
class CallingThreadKey final : public Botan::Private_Key
{
public:
    explicit CallingThreadKey(const Botan::RSA_PrivateKey& itsKey);

    [[nodiscard]] std::string algo_name() const override;
    [[nodiscard]] std::size_t estimated_strength() const override;
    [[nodiscard]] std::size_t key_length() const override;
    [[nodiscard]] Botan::AlgorithmIdentifier algorithm_identifier() const override;
    [[nodiscard]] std::vector<uint8_t> public_key_bits() const override;
    [[nodiscard]] Botan::secure_vector<uint8_t> private_key_bits() const override;
    bool check_key(Botan::RandomNumberGenerator& random, bool strong) const override;

    std::unique_ptr<Botan::PK_Ops::Signature> create_signature_op(Botan::RandomNumberGenerator& random,
                                                                  const std::string& padding,
                                                                  const std::string& provider) const override;
    std::unique_ptr<Botan::PK_Ops::Decryption>
    create_decryption_op(Botan::RandomNumberGenerator& random, const std::string& padding,
                         const std::string& provider) const override;

private:
    const Botan::RSA_PrivateKey& key;
};
