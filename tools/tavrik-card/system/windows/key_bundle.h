// PKCS#12 files: a key and certificates together, under one password.
#pragma once

#include "softcard/base/secret.h"
#include "tools/tavrik-card/system/key_parser.h"

#include <botan/rsa.h>

#include <memory>
#include <string>
#include <vector>

namespace softcard {

struct KeyBundle
{
    std::unique_ptr<Botan::RSA_PrivateKey> key;
    std::vector<SecretBytes> certificates;
};

// Whether the content is such a file, without what is encrypted in it.
bool IsKeyBundle(const std::string& content);

// Asks for the password unless the file opens without one. Throws StoreError when it does not open, and when there is no
// RSA key in it.
KeyBundle OpenKeyBundle(const std::string& content, const AskPassword& askPassword);

} // namespace softcard
