// PBES2 is Botan's. The older way of PKCS#12 has keys derived in a way of its own (RFC 7292, appendix B), and ciphers that
// Windows has.
#include "tools/tavrik-card/system/windows/password_encryption.h"

#include "softcard/base/text.h"

#include <botan/ber_dec.h>
#include <botan/exceptn.h>
#include <botan/hash.h>
#include <botan/mac.h>
#include <botan/pbes2.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <windows.h>

#include <wincrypt.h>

namespace softcard {
namespace {

constexpr size_t mostIterations = 10000000; // some seconds
constexpr size_t ivLength = 8;

enum class Purpose : uint8_t
{
    key = 1,
    iv = 2,
    mac = 3
};

struct Derivation
{
    std::string hash;
    std::vector<uint8_t> salt;
    size_t iterations;
};

struct Cipher
{
    const char* oid;
    ALG_ID algorithm;
    size_t keyLength;
};

constexpr Cipher ciphers[] = {{"1.2.840.113549.1.12.1.3", CALG_3DES, 24},
                              {"1.2.840.113549.1.12.1.5", CALG_RC2, 16},
                              {"1.2.840.113549.1.12.1.6", CALG_RC2, 5}};

// So often that whole blocks are filled; nothing for nothing.
SecretBytes Repeated(const uint8_t* bytes, size_t length, size_t block)
{
    SecretBytes filled((length + block - 1) / block * block);
    for (size_t i = 0; i < filled.size(); ++i) {
        filled[i] = bytes[i % length];
    }
    return filled;
}

// Adds the number, and one, to the block, both with their highest byte first.
void AddAndOne(uint8_t* block, const SecretBytes& number)
{
    unsigned carry = 1;
    for (size_t i = number.size(); i-- > 0;) {
        carry += block[i] + unsigned{number[i]};
        block[i] = static_cast<uint8_t>(carry);
        carry >>= 8U;
    }
}

SecretBytes Derive(const Derivation& how, Purpose purpose, const SecretBytes& password, size_t length)
{
    if (how.iterations == 0 || how.iterations > mostIterations) {
        throw Botan::Decoding_Error("a number of iterations that nobody uses");
    }
    const auto hash = Botan::HashFunction::create_or_throw(how.hash);
    const size_t block = hash->hash_block_size();
    const SecretBytes diversifier(block, static_cast<uint8_t>(purpose));
    SecretBytes input = Repeated(how.salt.data(), how.salt.size(), block);
    input += Repeated(password.data(), password.size(), block);
    SecretBytes derived;
    while (derived.size() < length) {
        hash->update(diversifier);
        hash->update(input);
        SecretBytes piece = hash->final();
        for (size_t i = 1; i < how.iterations; ++i) {
            hash->update(piece);
            hash->final(piece.data());
        }
        derived += piece;
        const SecretBytes addend = Repeated(piece.data(), piece.size(), block);
        for (size_t start = 0; start < input.size(); start += block) {
            AddAndOne(input.data() + start,
                      SecretBytes(addend.begin(), addend.begin() + static_cast<ptrdiff_t>(block)));
        }
    }
    derived.resize(length);
    return derived;
}

[[noreturn]] void ThrowNoCipher()
{
    throw Botan::Lookup_Error("Windows has no such cipher");
}

// In memory alone, and without a name that another program could find.
class Provider
{
public:
    Provider()
    {
        if (CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_AES,
                                 CRYPT_VERIFYCONTEXT | CRYPT_SILENT) == FALSE) {
            ThrowNoCipher();
        }
    }
    ~Provider() { CryptReleaseContext(provider, 0); }
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;
    Provider(Provider&&) = delete;
    Provider& operator=(Provider&&) = delete;

    [[nodiscard]] HCRYPTPROV Get() const { return provider; }

private:
    HCRYPTPROV provider = 0;
};

class CipherKey
{
public:
    CipherKey(const Provider& provider, const Cipher& cipher, const SecretBytes& bytes, SecretBytes iv)
    {
        const BLOBHEADER header{PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, cipher.algorithm};
        const auto length = static_cast<DWORD>(bytes.size());
        SecretBytes blob(sizeof header + sizeof length);
        Botan::copy_mem(blob.data(), reinterpret_cast<const uint8_t*>(&header), sizeof header);
        Botan::copy_mem(blob.data() + sizeof header, reinterpret_cast<const uint8_t*>(&length),
                        sizeof length);
        blob += bytes;
        if (CryptImportKey(provider.Get(), blob.data(), static_cast<DWORD>(blob.size()), 0, CRYPT_NO_SALT,
                           &key) == FALSE) {
            ThrowNoCipher();
        }
        LeaveOutSalt();
        DWORD bits = length * 8;
        const bool isReady =
            (cipher.algorithm != CALG_RC2 ||
             CryptSetKeyParam(key, KP_EFFECTIVE_KEYLEN, reinterpret_cast<BYTE*>(&bits), 0) != FALSE) &&
            CryptSetKeyParam(key, KP_IV, iv.data(), 0) != FALSE;
        if (!isReady) {
            CryptDestroyKey(key);
            ThrowNoCipher();
        }
    }
    ~CipherKey() { CryptDestroyKey(key); }
    CipherKey(const CipherKey&) = delete;
    CipherKey& operator=(const CipherKey&) = delete;
    CipherKey(CipherKey&&) = delete;
    CipherKey& operator=(CipherKey&&) = delete;

    [[nodiscard]] SecretBytes Decrypt(const std::vector<uint8_t>& encrypted) const
    {
        SecretBytes bytes(encrypted.begin(), encrypted.end());
        auto length = static_cast<DWORD>(bytes.size());
        if (CryptDecrypt(key, 0, TRUE, 0, bytes.data(), &length) == FALSE) {
            throw Botan::Decoding_Error("the password is wrong");
        }
        bytes.resize(length);
        return bytes;
    }

private:
    // A short key gets one that is not part of it, under Wine also where none is asked for.
    void LeaveOutSalt() const
    {
        DWORD length = 0;
        if (CryptGetKeyParam(key, KP_SALT, nullptr, &length, 0) != FALSE && length > 0) {
            CRYPT_INTEGER_BLOB none{};
            CryptSetKeyParam(key, KP_SALT_EX, reinterpret_cast<BYTE*>(&none), 0);
        }
    }

    HCRYPTKEY key = 0;
};

SecretBytes DecryptAsBundle(const Cipher& cipher, const std::vector<uint8_t>& parameters,
                            const std::vector<uint8_t>& encrypted, const SecretBytes& password)
{
    Derivation how{"SHA-1", {}, 0};
    Botan::BER_Decoder(parameters)
        .start_cons(Botan::SEQUENCE)
        .decode(how.salt, Botan::OCTET_STRING)
        .decode(how.iterations)
        .end_cons();
    const Provider provider;
    const CipherKey key(provider, cipher, Derive(how, Purpose::key, password, cipher.keyLength),
                        Derive(how, Purpose::iv, password, ivLength));
    return key.Decrypt(encrypted);
}

std::string HashNamed(const Botan::OID& oid)
{
    constexpr std::pair<const char*, const char*> names[] = {{"1.3.14.3.2.26", "SHA-1"},
                                                             {"2.16.840.1.101.3.4.2.1", "SHA-256"},
                                                             {"2.16.840.1.101.3.4.2.2", "SHA-384"},
                                                             {"2.16.840.1.101.3.4.2.3", "SHA-512"}};
    for (const auto& [number, name] : names) {
        if (oid.to_string() == number) {
            return name;
        }
    }
    throw Botan::Lookup_Error("a hash that is not known");
}

} // namespace

SecretBytes BundleForm(const SecretText& password, NoPassword noPassword)
{
    SecretBytes form;
    if (password.empty() && noPassword == NoPassword::isNothing) {
        return form;
    }
    std::u16string wide = ToUtf16(std::string_view(password.data(), password.size()));
    for (const char16_t unit : wide) {
        form.push_back(static_cast<uint8_t>(unit >> 8U));
        form.push_back(static_cast<uint8_t>(unit));
    }
    form.resize(form.size() + sizeof(char16_t)); // the terminator
    Botan::secure_scrub_memory(wide.data(), wide.size() * sizeof(char16_t));
    return form;
}

SecretBytes Decrypt(const Botan::AlgorithmIdentifier& algorithm, const std::vector<uint8_t>& encrypted,
                    const SecretText& password, NoPassword noPassword)
{
    const std::string oid = algorithm.get_oid().to_string();
    for (const Cipher& cipher : ciphers) {
        if (oid == cipher.oid) {
            return DecryptAsBundle(cipher, algorithm.get_parameters(), encrypted,
                                   BundleForm(password, noPassword));
        }
    }
    if (oid != "1.2.840.113549.1.5.13") {
        throw Botan::Lookup_Error("an encryption that is not known");
    }
    const SecretString text(std::string(password.begin(), password.end()));
    return Botan::pbes2_decrypt(SecretBytes(encrypted.begin(), encrypted.end()), text.text,
                                algorithm.get_parameters());
}

bool HasMac(const BundleMac& mac, const SecretBytes& content, const SecretText& password,
            NoPassword noPassword)
{
    const std::string hash = HashNamed(mac.hash.get_oid());
    const auto code = Botan::MessageAuthenticationCode::create_or_throw("HMAC(" + hash + ")");
    code->set_key(Derive({hash, mac.salt, mac.iterations}, Purpose::mac, BundleForm(password, noPassword),
                         code->output_length()));
    code->update(content);
    const SecretBytes found = code->final();
    return found.size() == mac.value.size() &&
           Botan::constant_time_compare(found.data(), mac.value.data(), found.size());
}

} // namespace softcard
