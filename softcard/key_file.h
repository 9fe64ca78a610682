// Private keys at rest.
#pragma once

#include "secret.h"

#include <botan/rsa.h>

#include <filesystem>
#include <memory>

namespace softcard {

// PKCS#8, encrypted with the secret that the card's code leads to. An empty secret leaves the key in clear,
// which is for the authority. Throws std::exception.
void WriteKeyFile(const std::filesystem::path& path, const Botan::RSA_PrivateKey& key,
                  const SecretBytes& secret);
std::shared_ptr<const Botan::RSA_PrivateKey> ReadKeyFile(const std::filesystem::path& path,
                                                         const SecretBytes& secret);

} // namespace softcard
