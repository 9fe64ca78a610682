#include "softcard/card/old_key_file.h"

#include <botan/asn1_obj.h>
#include <botan/ber_dec.h>
#include <botan/exceptn.h>
#include <botan/hex.h>
#include <botan/pem.h>
#include <botan/pwdhash.h>
#include <botan_version/asn1.h>
#include <botan_version/cipher.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace softcard {
namespace {

constexpr const char* label = "ENCRYPTED PRIVATE KEY";
constexpr const char* pbes2 = "1.2.840.113549.1.5.13";
constexpr const char* pbkdf2 = "1.2.840.113549.1.5.12";
constexpr const char* aes256Cbc = "2.16.840.1.101.3.4.1.42";
constexpr size_t keyLength = 32;
constexpr size_t mostIterations = 1000000; // the files have 1000

struct EncryptedKey
{
    std::vector<uint8_t> salt;
    size_t iterations = 0;
    std::vector<uint8_t> initialVector;
    SecretBytes data;
};

std::vector<uint8_t> RequireAlgorithm(const Botan::AlgorithmIdentifier& algorithm, const char* identifier)
{
    if (IdentifierOf(algorithm) != Botan::OID(identifier)) {
        throw Botan::Decoding_Error("another algorithm");
    }
    return ParametersOf(algorithm);
}

// The algorithms are the ones that the files were made with: AES-256 in CBC mode, and a key out of the
// passphrase by PBKDF2 with HMAC(SHA-256).
EncryptedKey Decode(const std::string& pem)
{
    const SecretBytes content = Botan::PEM_Code::decode_check_label(pem, label);
    EncryptedKey key;
    Botan::AlgorithmIdentifier scheme;
    Botan::BER_Decoder(content)
        .start_cons(sequenceAsn1, universalClass)
        .decode(scheme)
        .decode(key.data, octetStringAsn1)
        .verify_end();
    Botan::AlgorithmIdentifier derivation;
    Botan::AlgorithmIdentifier cipher;
    Botan::BER_Decoder(RequireAlgorithm(scheme, pbes2))
        .start_cons(sequenceAsn1, universalClass)
        .decode(derivation)
        .decode(cipher)
        .verify_end();
    Botan::BER_Decoder(RequireAlgorithm(derivation, pbkdf2))
        .start_cons(sequenceAsn1, universalClass)
        .decode(key.salt, octetStringAsn1)
        .decode(key.iterations);
    Botan::BER_Decoder(RequireAlgorithm(cipher, aes256Cbc)).decode(key.initialVector, octetStringAsn1);
    if (key.iterations == 0 || key.iterations > mostIterations) {
        throw Botan::Decoding_Error("another number of iterations");
    }
    return key;
}

} // namespace

bool IsOldKeyFile(const std::string& pem)
{
    return pem.starts_with("-----BEGIN " + std::string(label));
}

// Step by step, since what Botan has for the whole takes the passphrase as a string, and leaves copies of it
// in freed memory.
SecretBytes OpenOldKeyFile(const std::string& pem, const SecretBytes& secret)
{
    const EncryptedKey encrypted = Decode(pem);
    SecretText passphrase(2 * secret.size());
    Botan::hex_encode(passphrase.data(), secret.data(), secret.size());
    SecretBytes key(keyLength);
    Botan::PasswordHashFamily::create_or_throw("PBKDF2(SHA-256)")
        ->from_params(encrypted.iterations)
        ->derive_key(key.data(), key.size(), passphrase.data(), passphrase.size(), encrypted.salt.data(),
                     encrypted.salt.size());
    const auto decryption = Botan::Cipher_Mode::create_or_throw("AES-256/CBC", decryptionDirection);
    decryption->set_key(key);
    decryption->start(encrypted.initialVector);
    SecretBytes plain = encrypted.data;
    decryption->finish(plain);
    return plain;
}

} // namespace softcard
