// What bundles and keys are encrypted with under a password.
#pragma once

#include "softcard/base/secret.h"

#include <botan/alg_id.h>

#include <cstdint>
#include <vector>

namespace softcard {

// The password as bundles have it where no newer way is named: UTF-16 with its terminator. Without one, it is nothing at all or
// the terminator alone, as the program that made the bundle had it.
enum class NoPassword
{
    isNothing,
    isEmpty
};
SecretBytes BundleForm(const SecretText& password, NoPassword noPassword);

// Takes the encryption of PKCS#5 (PBES2), and of PKCS#12 with Triple-DES or RC2. Throws Botan::Exception for others, and mostly
// when the password is another one.
SecretBytes Decrypt(const Botan::AlgorithmIdentifier& algorithm, const std::vector<uint8_t>& encrypted,
                    const SecretText& password, NoPassword noPassword);

struct BundleMac
{
    Botan::AlgorithmIdentifier hash;
    std::vector<uint8_t> value;
    std::vector<uint8_t> salt;
    size_t iterations = 1;
};

// Whether the content has this code under the password. Throws Botan::Exception for a hash that is not known.
bool HasMac(const BundleMac& mac, const SecretBytes& content, const SecretText& password,
            NoPassword noPassword);

} // namespace softcard
