// A key that a provider of Windows' older interface for cryptography (CryptoAPI) has.
#pragma once

#include "softcard/base/secret.h"

#include <optional>

#include <windows.h>

#include <wincrypt.h>

namespace softcard {

class ProviderKey
{
public:
    // Of the kind AT_KEYEXCHANGE or AT_SIGNATURE. The provider may have none.
    ProviderKey(HCRYPTPROV provider, DWORD kind);
    ~ProviderKey();
    ProviderKey(const ProviderKey&) = delete;
    ProviderKey& operator=(const ProviderKey&) = delete;
    ProviderKey(ProviderKey&&) = delete;
    ProviderKey& operator=(ProviderKey&&) = delete;

    // PUBLICKEYBLOB or PRIVATEKEYBLOB. Nothing where there is no key, or where it is not given out.
    [[nodiscard]] std::optional<SecretBytes> Export(DWORD format) const;

private:
    HCRYPTKEY key = 0;
};

} // namespace softcard
