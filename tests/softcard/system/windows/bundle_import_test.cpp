#include "softcard/base/text.h"
#include "src/botan/big_int_bytes.h"
#include "tests/softcard/bundle_import.h"
#include "tests/softcard/system/windows/wine.h"

#include <botan/rsa.h>
#include <botan/x509cert.h>

#include <algorithm>
#include <string>
#include <vector>

#include <windows.h>

#include <wincrypt.h>

namespace softcard::test {

// Wine's function fails alike, and without an error code, for another password, a file without a key, and a key that is
// no RSA key.
std::string AsSystemTells(const std::string& sentence)
{
    return RunsUnderWine() ? "The password is wrong, or the file cannot be read." : sentence;
}

namespace {

// As Windows numbers it; clang-tidy takes the name, with its suffix, for a literal of ours.
constexpr DWORD noMoreItems = 259;

// Of the user's key containers.
std::vector<std::string> ContainerNames()
{
    HCRYPTPROV provider = 0;
    EXPECT_NE(
        CryptAcquireContextW(&provider, nullptr, MS_ENHANCED_PROV_W, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT),
        FALSE);
    std::vector<std::string> names;
    char name[1024];
    DWORD length = sizeof name;
    DWORD place = CRYPT_FIRST;
    while (CryptGetProvParam(provider, PP_ENUMCONTAINERS, reinterpret_cast<BYTE*>(name), &length, place) !=
           FALSE) {
        names.emplace_back(name);
        length = sizeof name;
        place = CRYPT_NEXT;
    }
    EXPECT_EQ(GetLastError(), noMoreItems);
    CryptReleaseContext(provider, 0);
    return names;
}

// Empty where there is no such key.
std::vector<uint8_t> PublicKeyIn(const std::string& container, DWORD kind)
{
    HCRYPTPROV provider = 0;
    std::vector<uint8_t> blob;
    if (CryptAcquireContextA(&provider, container.c_str(), MS_ENHANCED_PROV_A, PROV_RSA_FULL, CRYPT_SILENT) ==
        FALSE) {
        return blob;
    }
    HCRYPTKEY key = 0;
    DWORD length = 0;
    if (CryptGetUserKey(provider, kind, &key) != FALSE) {
        EXPECT_NE(CryptExportKey(key, 0, PUBLICKEYBLOB, 0, nullptr, &length), FALSE);
        blob.resize(length);
        EXPECT_NE(CryptExportKey(key, 0, PUBLICKEYBLOB, 0, blob.data(), &length), FALSE);
        CryptDestroyKey(key);
    }
    CryptReleaseContext(provider, 0);
    return blob;
}

// As Windows writes it, with the lowest byte first.
std::vector<uint8_t> ModulusIn(const std::string& certificateFile)
{
    const Botan::X509_Certificate certificate(ReadBytes(std::filesystem::path(BUNDLES) / certificateFile));
    const std::unique_ptr<Botan::Public_Key> key(certificate.subject_public_key());
    auto modulus = BigIntBytes(dynamic_cast<const Botan::RSA_PublicKey&>(*key).get_n());
    std::reverse(modulus.begin(), modulus.end());
    return modulus;
}

void Delete(const std::string& container)
{
    HCRYPTPROV none = 0;
    CryptAcquireContextA(&none, container.c_str(), MS_ENHANCED_PROV_A, PROV_RSA_FULL, CRYPT_DELETEKEYSET);
}

// Other tests may import at the same time; the key of this file is this test's alone.
TEST_F(BundleImport, LeavesTheKeyInNoContainerOfTheUser)
{
    const auto modulus = ModulusIn("lone.der");
    ASSERT_EQ(Import("lone").exitCode, 0);
    for (const std::string& container : ContainerNames()) {
        for (const DWORD kind : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
            const auto blob = PublicKeyIn(container, kind);
            if (std::search(blob.begin(), blob.end(), modulus.begin(), modulus.end()) != blob.end()) {
                ADD_FAILURE() << "The key is in the container \"" << container << "\".";
                Delete(container); // for the next time
            }
        }
    }
}

} // namespace
} // namespace softcard::test
