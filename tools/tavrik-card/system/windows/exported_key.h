// RSA keys as Windows' two interfaces for cryptography give them out: in clear, as a PRIVATEKEYBLOB.
#pragma once

#include "softcard/base/secret.h"

#include <botan/rsa.h>

#include <memory>
#include <optional>

#include <windows.h>

#include <ncrypt.h>
#include <wincrypt.h>

namespace softcard {

// The older interface: a provider's key of the kind AT_KEYEXCHANGE or AT_SIGNATURE. Nothing when it is not given out.
std::optional<SecretBytes> ExportFromProvider(HCRYPTPROV provider, DWORD kind);

// The newer interface, CNG.
std::optional<SecretBytes> ExportFromCng(NCRYPT_KEY_HANDLE key);

// Throws Botan::Exception for what is no such key.
std::unique_ptr<Botan::RSA_PrivateKey> LoadExportedKey(const SecretBytes& blob);

} // namespace softcard
