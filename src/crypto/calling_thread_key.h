// An RSA private key that computes on the calling thread alone. Botan's own key hands half of each
// computation to a pool of threads that lives as long as the process: a forked child has the pool without its
// threads and hangs in its exit(), and an exit() ends the pool while another thread of the host is using it.
#pragma once

#include <botan_version/key_stand_in.h>

// Stands for the key wherever Botan makes a signer or a decryptor of it. These don't need it, nor the key, for longer; they
// refer to the generator that they are made with.
//
// It computes the paddings of PKCS#1 v1.5 and none: "EMSA3(SHA-256)" and the like, with "Raw" or "Raw,SHA-256" for a hash,
// "EME-PKCS1-v1_5" and "Raw", by all names that Botan has for them. Another padding is left to Botan's own key, with its
// threads.
class CallingThreadKey final : public KeyStandIn
{
public:
    using KeyStandIn::KeyStandIn;

private:
    [[nodiscard]] std::unique_ptr<Botan::PK_Ops::Signature>
    MakeSignature(Botan::RandomNumberGenerator& random, const std::string& padding) const override;
    [[nodiscard]] std::unique_ptr<Botan::PK_Ops::Decryption>
    MakeDecryption(Botan::RandomNumberGenerator& random, const std::string& padding) const override;
};
