#include "bench/openssl_key.h"

#include <openssl/core_names.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <cstdio>
#include <stdexcept>

namespace bench {
namespace {

Bytes NumberOf(const EVP_PKEY* key, const char* name)
{
    BIGNUM* number = nullptr;
    if (EVP_PKEY_get_bn_param(key, name, &number) != 1) {
        throw std::runtime_error("a key without its numbers");
    }
    Bytes bytes(static_cast<std::size_t>(BN_num_bytes(number)));
    BN_bn2bin(number, bytes.data());
    BN_free(number);
    return bytes;
}

// The head of a DigestInfo of SHA-256, with 32 bytes that stand for a hash.
Bytes MadeDigestInfo()
{
    Bytes info{0x30, 0x31, 0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
               0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
    constexpr std::size_t lengthOfHash = 32;
    info.resize(info.size() + lengthOfHash, 0x55);
    return info;
}

} // namespace

OpenSslKey ReadKey(const std::filesystem::path& file)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> opened(std::fopen(file.c_str(), "re"), &std::fclose);
    OpenSslKey key(opened == nullptr ? nullptr
                                     : PEM_read_PrivateKey(opened.get(), nullptr, nullptr, nullptr));
    if (key == nullptr) {
        throw std::runtime_error("cannot read " + file.string());
    }
    return key;
}

OpenSslContext ContextFor(EVP_PKEY* key, int (*begin)(EVP_PKEY_CTX*))
{
    OpenSslContext context(EVP_PKEY_CTX_new(key, nullptr));
    if (begin(context.get()) != 1 || EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) != 1) {
        throw std::runtime_error("OpenSSL begins nothing with the key");
    }
    return context;
}

SignedData SignWithKeyOf(const std::filesystem::path& file)
{
    // A module may take a signature that begins with a zero byte for none.
    const OpenSslKey key = ReadKey(file);
    const OpenSslContext context = ContextFor(key.get(), EVP_PKEY_sign_init);
    SignedData made{NumberOf(key.get(), OSSL_PKEY_PARAM_RSA_N),
                    NumberOf(key.get(), OSSL_PKEY_PARAM_RSA_E),
                    MadeDigestInfo(),
                    {}};
    do {
        ++made.data.back();
        std::size_t length = made.modulus.size();
        made.signature.resize(length);
        if (EVP_PKEY_sign(context.get(), made.signature.data(), &length, made.data.data(),
                          made.data.size()) != 1) {
            throw std::runtime_error("OpenSSL signs nothing");
        }
    } while (made.signature.front() == 0);
    return made;
}

} // namespace bench
