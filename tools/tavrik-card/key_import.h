// Keys and certificates that others made.
#pragma once

#include "softcard/base/secret.h"

#include <botan/rsa.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace softcard {

struct ImportedKey
{
    std::unique_ptr<Botan::RSA_PrivateKey> key;
    std::vector<uint8_t> certificate; // DER
};

// Reads a PKCS#12 file, or PEM files; both names may be the same. The password is asked for only when the
// files want one. Throws StoreError for files that hold no RSA key of 2048 to 4096 bits with a certificate
// for it of at most 4096 bytes that can be read.
ImportedKey ImportKey(const std::filesystem::path& certificateFile, const std::filesystem::path& keyFile,
                      const std::function<SecretText()>& askPassword);

} // namespace softcard
