#include "tools/tavrik-card/system/windows/provider_key.h"

namespace softcard {

ProviderKey::ProviderKey(HCRYPTPROV provider, DWORD kind)
{
    if (CryptGetUserKey(provider, kind, &key) == FALSE) {
        key = 0;
    }
}

ProviderKey::~ProviderKey()
{
    if (key != 0) {
        CryptDestroyKey(key); // the handle alone
    }
}

std::optional<SecretBytes> ProviderKey::Export(DWORD format) const
{
    DWORD length = 0;
    if (key == 0 || CryptExportKey(key, 0, format, 0, nullptr, &length) == FALSE) {
        return std::nullopt;
    }
    SecretBytes blob(length);
    if (CryptExportKey(key, 0, format, 0, blob.data(), &length) == FALSE) {
        return std::nullopt;
    }
    blob.resize(length);
    return blob;
}

} // namespace softcard
