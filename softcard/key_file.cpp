#include "key_file.h"

#include "system/files.h"
#include "text.h"

#include <botan/auto_rng.h>
#include <botan/data_src.h>
#include <botan/hex.h>
#include <botan/pkcs8.h>

#include <stdexcept>

namespace softcard {
namespace {

// The secret is 256 bits that cost a slow derivation already, so that this one has nothing to add.
constexpr size_t iterations = 1000;

std::string MakePem(const Botan::RSA_PrivateKey& key, const SecretBytes& secret)
{
    if (secret.empty()) {
        return Botan::PKCS8::PEM_encode(key);
    }
    Botan::AutoSeeded_RNG random;
    const SecretString passphrase(Botan::hex_encode(secret));
    return Botan::PKCS8::PEM_encode_encrypted_pbkdf_iter(key, random, passphrase.text, iterations,
                                                         "AES-256/CBC", "SHA-256");
}

std::unique_ptr<Botan::Private_Key> Load(const std::filesystem::path& path, const SecretBytes& secret)
{
    const SecretString pem(ReadFile(path));
    Botan::DataSource_Memory source(pem.text);
    if (secret.empty()) {
        return Botan::PKCS8::load_key(source);
    }
    const SecretString passphrase(Botan::hex_encode(secret));
    return Botan::PKCS8::load_key(source, passphrase.text);
}

} // namespace

void WriteKeyFile(const std::filesystem::path& path, const Botan::RSA_PrivateKey& key,
                  const SecretBytes& secret)
{
    const SecretString pem(MakePem(key, secret));
    WriteFileAtomically(path, pem.text);
}

std::shared_ptr<const Botan::RSA_PrivateKey> ReadKeyFile(const std::filesystem::path& path,
                                                         const SecretBytes& secret)
{
    const std::shared_ptr<const Botan::Private_Key> key = Load(path, secret);
    auto rsaKey = std::dynamic_pointer_cast<const Botan::RSA_PrivateKey>(key);
    if (!rsaKey) {
        throw std::runtime_error("The key in " + Utf8Of(path) + " is not an RSA key.");
    }
    return rsaKey;
}

} // namespace softcard
