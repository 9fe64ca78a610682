// Private keys at rest.
#pragma once

#include "softcard/base/secret.h"

#include <botan/rsa.h>

#include <filesystem>
#include <memory>

namespace softcard {

using PrivateKey = std::shared_ptr<const Botan::RSA_PrivateKey>;

// A card's key: PKCS#8, wrapped (RFC 5649) under the 32 bytes that the card's code leads to, as PEM. Throws
// std::exception.
void WriteKeyFile(const std::filesystem::path& path, const Botan::RSA_PrivateKey& key,
                  const SecretBytes& secret);

struct StoredKey
{
    PrivateKey key;
    bool isInOldForm = false; // see old_key_file.h
};

// Throws FileTrouble for a file that is no key wrapped under the secret, and std::system_error.
StoredKey ReadKeyFile(const std::filesystem::path& path, const SecretBytes& secret);

// The authority's keys: PKCS#8 in clear, as PEM. Throw as the others do.
void WriteClearKeyFile(const std::filesystem::path& path, const Botan::RSA_PrivateKey& key);
PrivateKey ReadClearKeyFile(const std::filesystem::path& path);

} // namespace softcard
