// PKCS#12 files: keys and certificates together, under one password.
#pragma once

#include "softcard/base/secret.h"
#include "tools/tavrik-card/system/key_parser.h"

#include <string>
#include <vector>

namespace softcard {

struct KeyBundle
{
    std::vector<SecretBytes> keys; // PKCS#8, in clear
    std::vector<SecretBytes> certificates;
};

// Whether the content is such a file, without what is encrypted in it.
bool IsKeyBundle(const std::string& content);

// Asks for the password unless the file opens without one. Throws StoreError when it does not open.
KeyBundle OpenKeyBundle(const std::string& content, const AskPassword& askPassword);

} // namespace softcard
