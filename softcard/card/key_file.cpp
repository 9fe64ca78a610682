#include "softcard/card/key_file.h"

#include "softcard/card/file_trouble.h"
#include "softcard/card/old_key_file.h"
#include "softcard/system/files.h"

#include <botan/block_cipher.h>
#include <botan/data_src.h>
#include <botan/exceptn.h>
#include <botan/nist_keywrap.h>
#include <botan/pem.h>
#include <botan/pkcs8.h>

#include <string>

namespace softcard {
namespace {

constexpr const char* wrappedLabel = "WRAPPED PRIVATE KEY";

std::unique_ptr<Botan::BlockCipher> WrappingCipher(const SecretBytes& secret)
{
    auto cipher = Botan::BlockCipher::create_or_throw("AES-256");
    cipher->set_key(secret);
    return cipher;
}

// Null for a key of another kind.
PrivateKey LoadKey(const SecretBytes& pkcs8)
{
    Botan::DataSource_Memory source(pkcs8);
    const std::shared_ptr<const Botan::Private_Key> key = Botan::PKCS8::load_key(source);
    return std::dynamic_pointer_cast<const Botan::RSA_PrivateKey>(key);
}

template <typename Read>
StoredKey ReadKey(const std::filesystem::path& path, const std::string& whatToDo, const Read& read)
{
    constexpr const char* wrong = "holds no key that can be read";
    const SecretString content(ReadFile(path));
    try {
        if (StoredKey stored = read(content.text); stored.key) {
            return stored;
        }
    } catch (const Botan::Exception&) {
        throw FileTrouble(path, wrong, whatToDo);
    }
    throw FileTrouble(path, wrong, whatToDo);
}

} // namespace

void WriteKeyFile(const std::filesystem::path& path, const Botan::RSA_PrivateKey& key,
                  const SecretBytes& secret)
{
    const TraceWiper wiper;
    const SecretBytes plain = Botan::PKCS8::BER_encode(key);
    const auto wrapped = Botan::nist_key_wrap_padded(plain.data(), plain.size(), *WrappingCipher(secret));
    WriteFileAtomically(path, Botan::PEM_Code::encode(wrapped, wrappedLabel));
}

StoredKey ReadKeyFile(const std::filesystem::path& path, const SecretBytes& secret)
{
    const TraceWiper wiper;
    return ReadKey(path, mendCard, [&secret](const std::string& pem) -> StoredKey {
        if (IsOldKeyFile(pem)) {
            return {LoadKey(OpenOldKeyFile(pem, secret)), true};
        }
        const SecretBytes wrapped = Botan::PEM_Code::decode_check_label(pem, wrappedLabel);
        return {
            LoadKey(Botan::nist_key_unwrap_padded(wrapped.data(), wrapped.size(), *WrappingCipher(secret))),
            false};
    });
}

void WriteClearKeyFile(const std::filesystem::path& path, const Botan::RSA_PrivateKey& key)
{
    const SecretString pem(Botan::PKCS8::PEM_encode(key));
    WriteFileAtomically(path, pem.text);
}

PrivateKey ReadClearKeyFile(const std::filesystem::path& path)
{
    return ReadKey(path, mendAuthority,
                   [](const std::string& pem) -> StoredKey {
                       return {LoadKey(Botan::PEM_Code::decode_check_label(pem, "PRIVATE KEY")), false};
                   })
        .key;
}

} // namespace softcard
