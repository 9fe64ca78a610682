// Key files of the form that they had before.
#pragma once

#include "softcard/base/secret.h"

#include <botan/rsa.h>

#include <filesystem>

namespace softcard::test {

void WriteOldKeyFile(const std::filesystem::path& path, const Botan::RSA_PrivateKey& key,
                     const SecretBytes& secret);

} // namespace softcard::test
