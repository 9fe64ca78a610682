// An RSA key in a PEM file, through OpenSSL.
#pragma once

#include "bench/signed_data.h"

#include <openssl/evp.h>

#include <filesystem>
#include <memory>

namespace bench {

struct OpenSslFree
{
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
};
using OpenSslKey = std::unique_ptr<EVP_PKEY, OpenSslFree>;
using OpenSslContext = std::unique_ptr<EVP_PKEY_CTX, OpenSslFree>;

// All throw std::runtime_error.
OpenSslKey ReadKey(const std::filesystem::path& file);
OpenSslContext ContextFor(EVP_PKEY* key, int (*begin)(EVP_PKEY_CTX*)); // for PKCS#1 v1.5
SignedData SignWithKeyOf(const std::filesystem::path& file);

} // namespace bench
