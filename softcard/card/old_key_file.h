// The form that cards' key files had before: PKCS#8 encrypted with a passphrase (PBES2), which was the secret
// in hexadecimal digits. It is only read.
#pragma once

#include "softcard/base/secret.h"

#include <string>

namespace softcard {

bool IsOldKeyFile(const std::string& pem);

// The PKCS#8 inside. Throws Botan::Exception for a file that was not made with the secret.
SecretBytes OpenOldKeyFile(const std::string& pem, const SecretBytes& secret);

} // namespace softcard
