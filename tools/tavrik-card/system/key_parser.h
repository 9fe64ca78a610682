// The forms that others keep keys and certificates in.
#pragma once

#include "tools/tavrik-card/key_import.h"

#include <functional>
#include <string>

namespace softcard {

using AskPassword = std::function<SecretText()>;

// Takes an RSA key and the certificate for it out of a PKCS#12 file's content, or out of two files' PEM.
// Throws StoreError when there is no such pair.
ImportedKey ParseKey(const std::string& certificates, const std::function<std::string()>& readKeyFile,
                     const AskPassword& askPassword);

} // namespace softcard
