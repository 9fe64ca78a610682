// Windows reads the file and keeps the key in memory (PFXImportCertStore); then the key is taken out of there.
#include "tools/tavrik-card/system/windows/key_bundle.h"

#include "softcard/base/store_error.h"
#include "softcard/base/text.h"
#include "tools/tavrik-card/system/windows/default_container.h"
#include "tools/tavrik-card/system/windows/exported_key.h"

#include <botan/exceptn.h>

#include <cstdio>
#include <string_view>

#include <windows.h>

#include <wincrypt.h>

namespace softcard {
namespace {

struct CloseStore
{
    void operator()(HCERTSTORE store) const { CertCloseStore(store, 0); }
};

struct FreeCertificate
{
    void operator()(PCCERT_CONTEXT certificate) const { CertFreeCertificateContext(certificate); }
};

using Store = std::unique_ptr<void, CloseStore>;
using Certificate = std::unique_ptr<const CERT_CONTEXT, FreeCertificate>;

[[noreturn]] void Refuse(const std::string& sentence)
{
    throw StoreError(StoreFailure::notImportable, sentence);
}

// Windows' functions only read it.
CRYPT_DATA_BLOB BlobOf(const std::string& content)
{
    return {static_cast<DWORD>(content.size()),
            reinterpret_cast<BYTE*>(const_cast<char*>(content.data()))}; // NOLINT(*-const-cast)
}

// Nothing when the file does not open; then the last error tells why, or is 0.
Store ImportStore(const std::string& content, const wchar_t* password)
{
    CRYPT_DATA_BLOB blob = BlobOf(content);
    SetLastError(ERROR_SUCCESS);
    return Store(
        PFXImportCertStore(&blob, password, CRYPT_EXPORTABLE | PKCS12_NO_PERSIST_KEY | CRYPT_USER_KEYSET));
}

// Two forms of no password are in use, and give different keys.
Store OpenWithoutPassword(const std::string& content)
{
    Store store = ImportStore(content, nullptr);
    return store ? std::move(store) : ImportStore(content, L"");
}

// Windows' versions take ciphers that they do not know for a wrong password; Wine tells nothing.
[[noreturn]] void RefuseUnopened(DWORD error)
{
    if (error == ERROR_INVALID_PASSWORD) {
        Refuse("The PKCS#12 file cannot be opened with this password.");
    }
    if (error == ERROR_SUCCESS) {
        Refuse("The password is wrong, or the file cannot be read.");
    }
    char number[16];
    static_cast<void>(std::snprintf(number, sizeof number, "0x%08lX", error));
    Refuse("Windows cannot read the PKCS#12 file (error " + std::string(number) + ").");
}

Store OpenWithPassword(const std::string& content, const SecretText& password)
{
    std::u16string wide = ToUtf16(std::string_view(password.data(), password.size()));
    Store store = ImportStore(content, reinterpret_cast<const wchar_t*>(wide.c_str()));
    const DWORD error = GetLastError();
    Botan::secure_scrub_memory(wide.data(), wide.size() * sizeof(char16_t));
    if (!store) {
        RefuseUnopened(error);
    }
    return store;
}

std::vector<Certificate> CertificatesIn(const Store& store)
{
    std::vector<Certificate> certificates;
    PCCERT_CONTEXT certificate = nullptr;
    while ((certificate = CertEnumCertificatesInStore(store.get(), certificate)) != nullptr) {
        certificates.emplace_back(CertDuplicateCertificateContext(certificate));
    }
    return certificates;
}

bool IsForRsa(const Certificate& certificate)
{
    const std::string_view algorithm = certificate->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId;
    return algorithm == szOID_RSA_RSA;
}

// The key belongs to one of the certificates, and lives as long as it.
std::unique_ptr<Botan::RSA_PrivateKey> TakeKey(const std::vector<Certificate>& certificates,
                                               DefaultContainer& container)
{
    for (const Certificate& certificate : certificates) {
        HCRYPTPROV_OR_NCRYPT_KEY_HANDLE holder = 0;
        DWORD kind = 0;
        BOOL isOurs = FALSE; // never, since the certificate keeps it
        if (CryptAcquireCertificatePrivateKey(certificate.get(),
                                              CRYPT_ACQUIRE_CACHE_FLAG | CRYPT_ACQUIRE_SILENT_FLAG |
                                                  CRYPT_ACQUIRE_ALLOW_NCRYPT_KEY_FLAG,
                                              nullptr, &holder, &kind, &isOurs) == FALSE) {
            continue;
        }
        if (kind != CERT_NCRYPT_KEY_SPEC) {
            container.Expect(holder, kind);
        }
        if (!IsForRsa(certificate)) {
            Refuse("The private key is not an RSA key.");
        }
        const auto exported =
            kind == CERT_NCRYPT_KEY_SPEC ? ExportFromCng(holder) : ExportFromProvider(holder, kind);
        if (!exported) {
            Refuse("Windows does not give the private key out.");
        }
        return LoadExportedKey(*exported);
    }
    Refuse("There is no private key in the file.");
}

} // namespace

bool IsKeyBundle(const std::string& content)
{
    CRYPT_DATA_BLOB blob = BlobOf(content);
    return PFXIsPFXBlob(&blob) != FALSE;
}

KeyBundle OpenKeyBundle(const std::string& content, const AskPassword& askPassword)
{
    DefaultContainer container;
    Store store = OpenWithoutPassword(content);
    if (!store) {
        store = OpenWithPassword(content, askPassword());
    }
    KeyBundle bundle;
    const std::vector<Certificate> certificates = CertificatesIn(store);
    bundle.key = TakeKey(certificates, container);
    for (const Certificate& certificate : certificates) {
        bundle.certificates.emplace_back(certificate->pbCertEncoded,
                                         certificate->pbCertEncoded + certificate->cbCertEncoded);
    }
    return bundle;
}

} // namespace softcard
