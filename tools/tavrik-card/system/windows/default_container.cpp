#include "tools/tavrik-card/system/windows/default_container.h"

#include "tools/tavrik-card/system/windows/provider_key.h"

namespace softcard {
namespace {

BOOL AcquireDefault(HCRYPTPROV& provider, DWORD flags)
{
    return CryptAcquireContextW(&provider, nullptr, MS_ENHANCED_PROV_W, PROV_RSA_FULL, flags | CRYPT_SILENT);
}

std::optional<SecretBytes> PublicKeyOf(HCRYPTPROV provider, DWORD kind)
{
    return ProviderKey(provider, kind).Export(PUBLICKEYBLOB);
}

// Where the import of a key puts it.
std::optional<SecretBytes> PresentKey()
{
    HCRYPTPROV provider = 0;
    if (AcquireDefault(provider, 0) == FALSE) {
        return std::nullopt;
    }
    auto key = PublicKeyOf(provider, AT_KEYEXCHANGE);
    CryptReleaseContext(provider, 0);
    return key;
}

} // namespace

DefaultContainer::DefaultContainer() : before(PresentKey()) {}

DefaultContainer::~DefaultContainer()
{
    if (!imported || before == imported || PresentKey() != imported) {
        return;
    }
    HCRYPTPROV none = 0; // what is deleted is not given
    AcquireDefault(none, CRYPT_DELETEKEYSET);
}

void DefaultContainer::Expect(HCRYPTPROV provider, DWORD kind)
{
    imported = PublicKeyOf(provider, kind);
}

} // namespace softcard
