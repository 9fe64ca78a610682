// With OpenSSL, which knows the forms that keys are kept in, old ones too.
#include "tools/tavrik-card/system/key_parser.h"

#include "softcard/base/released_by.h"
#include "softcard/base/store_error.h"

#include <botan/data_src.h>
#include <botan/pkcs8.h>

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <string>

namespace softcard {
namespace {

using Bio = std::unique_ptr<BIO, ReleasedBy<BIO_free_all>>;
using Key = std::unique_ptr<EVP_PKEY, ReleasedBy<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, ReleasedBy<X509_free>>;
using Bundle = std::unique_ptr<PKCS12, ReleasedBy<PKCS12_free>>;
using PlainKey = std::unique_ptr<PKCS8_PRIV_KEY_INFO, ReleasedBy<PKCS8_PRIV_KEY_INFO_free>>;
using Provider = std::unique_ptr<OSSL_PROVIDER, ReleasedBy<OSSL_PROVIDER_unload>>;

struct Pair
{
    Key key;
    Certificate certificate;
};

[[noreturn]] void Refuse(const std::string& sentence)
{
    ERR_clear_error();
    throw StoreError(StoreFailure::notImportable, sentence);
}

Bio Reading(const std::string& content)
{
    return Bio(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
}

struct PasswordRequest
{
    const AskPassword& ask;
    std::exception_ptr failure; // nothing may be thrown through OpenSSL
};

int AnswerPassword(char* buffer, int capacity, int /*writing*/, void* request)
{
    auto& [ask, failure] = *static_cast<PasswordRequest*>(request);
    try {
        const SecretText password = ask();
        if (password.size() > static_cast<size_t>(capacity)) {
            return -1;
        }
        std::copy(password.begin(), password.end(), buffer);
        return static_cast<int>(password.size());
    } catch (...) {
        failure = std::current_exception();
        return -1;
    }
}

Pair ReadPem(const std::string& certificates, const std::string& keyText, const AskPassword& askPassword)
{
    Pair pair;
    const Bio keySource = Reading(keyText);
    PasswordRequest request{askPassword, nullptr};
    pair.key.reset(PEM_read_bio_PrivateKey(keySource.get(), nullptr, AnswerPassword, &request));
    if (request.failure) {
        ERR_clear_error();
        std::rethrow_exception(request.failure);
    }
    if (!pair.key) {
        Refuse("There is no private key that can be read, or the password is wrong.");
    }
    const Bio source = Reading(certificates);
    do {
        pair.certificate.reset(PEM_read_bio_X509(source.get(), nullptr, nullptr, nullptr));
    } while (pair.certificate && X509_check_private_key(pair.certificate.get(), pair.key.get()) != 1);
    return pair;
}

Bundle DecodeBundle(const std::string& content)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(content.data());
    return Bundle(d2i_PKCS12(nullptr, &bytes, static_cast<long>(content.size())));
}

// Bundles of older programs use algorithms that are no longer there by default. They are there as long as
// this lives, and what was made with them must not outlive it.
class OldAlgorithms
{
private:
    Provider present{OSSL_PROVIDER_load(nullptr, "default")};
    Provider legacy{OSSL_PROVIDER_load(nullptr, "legacy")};
};

Pair OpenBundle(PKCS12* bundle, const AskPassword& askPassword)
{
    SecretText password;
    if (PKCS12_verify_mac(bundle, nullptr, 0) != 1 && PKCS12_verify_mac(bundle, "", 0) != 1) {
        password = askPassword();
    }
    password.push_back('\0');
    EVP_PKEY* key = nullptr;
    X509* certificate = nullptr;
    if (PKCS12_parse(bundle, password.data(), &key, &certificate, nullptr) != 1) {
        Refuse("The PKCS#12 file cannot be opened with this password.");
    }
    return {Key(key), Certificate(certificate)};
}

// Null for a key of a kind that is not known.
std::unique_ptr<Botan::Private_Key> LoadKey(const SecretBytes& bytes)
{
    Botan::DataSource_Memory source(bytes);
    try {
        return Botan::PKCS8::load_key(source);
    } catch (const Botan::Exception&) {
        return nullptr;
    }
}

std::unique_ptr<Botan::RSA_PrivateKey> ConvertKey(const EVP_PKEY* key)
{
    const PlainKey plain(EVP_PKEY2PKCS8(key));
    unsigned char* encoded = nullptr;
    const int length = plain ? i2d_PKCS8_PRIV_KEY_INFO(plain.get(), &encoded) : -1;
    if (length <= 0) {
        Refuse("The private key cannot be read.");
    }
    const SecretBytes bytes(encoded, encoded + length);
    OPENSSL_clear_free(encoded, static_cast<size_t>(length));
    std::unique_ptr<Botan::Private_Key> loaded = LoadKey(bytes);
    auto* rsaKey = dynamic_cast<Botan::RSA_PrivateKey*>(loaded.get());
    if (rsaKey == nullptr) {
        Refuse("The private key is not an RSA key.");
    }
    (void)loaded.release();
    return std::unique_ptr<Botan::RSA_PrivateKey>(rsaKey);
}

std::vector<uint8_t> ConvertCertificate(X509* certificate)
{
    unsigned char* encoded = nullptr;
    const int length = i2d_X509(certificate, &encoded);
    if (length <= 0) {
        Refuse("The certificate cannot be read.");
    }
    std::vector<uint8_t> bytes(encoded, encoded + length);
    OPENSSL_free(encoded);
    return bytes;
}

} // namespace

ImportedKey ParseKey(const std::string& certificates, const std::function<std::string()>& readKeyFile,
                     const AskPassword& askPassword)
{
    const OldAlgorithms oldAlgorithms;
    const Bundle bundle = DecodeBundle(certificates);
    ERR_clear_error();
    Pair pair;
    if (bundle) {
        pair = OpenBundle(bundle.get(), askPassword);
    } else {
        const SecretString keyText(readKeyFile());
        pair = ReadPem(certificates, keyText.text, askPassword);
    }
    if (!pair.key) {
        Refuse("There is no private key in the file.");
    }
    if (!pair.certificate || X509_check_private_key(pair.certificate.get(), pair.key.get()) != 1) {
        Refuse("There is no certificate for the private key.");
    }
    ImportedKey imported{ConvertKey(pair.key.get()), ConvertCertificate(pair.certificate.get())};
    ERR_clear_error();
    return imported;
}

} // namespace softcard
