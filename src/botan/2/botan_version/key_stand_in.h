// What stands for an RSA private key wherever Botan makes a signer or a decryptor of it, and makes these in another way.
#pragma once

#include "src/botan/forwarding_key.h"
#include "src/botan/key_operations.h"

// The two below take Botan's calls.
class SignatureMaker : public SigningOperation
{
    void update(const uint8_t* message, std::size_t length) final { Add({message, length}); }
    Botan::secure_vector<uint8_t> sign(Botan::RandomNumberGenerator& /*random*/) final { return Finish(); }
};

class DecryptionMaker : public DecryptingOperation
{
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
