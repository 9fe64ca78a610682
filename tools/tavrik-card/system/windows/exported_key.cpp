#include "tools/tavrik-card/system/windows/exported_key.h"

#include "tools/tavrik-card/system/windows/provider_key.h"

#include <botan/auto_rng.h>
#include <botan/exceptn.h>
#include <botan/hex.h>

#include <algorithm>
#include <string>
#include <vector>

namespace softcard {
namespace {

constexpr DWORD magicOfRsa = 0x32415352; // "RSA2"
constexpr int iterations = 2048;
constexpr DWORD saltLength = 8;

// A key or a provider of CNG.
class CngObject
{
public:
    CngObject() = default;
    ~CngObject()
    {
        if (object != 0) {
            NCryptFreeObject(object);
        }
    }
    CngObject(const CngObject&) = delete;
    CngObject& operator=(const CngObject&) = delete;
    CngObject(CngObject&&) = delete;
    CngObject& operator=(CngObject&&) = delete;

    [[nodiscard]] ULONG_PTR Get() const { return object; }
    ULONG_PTR* Place() { return &object; }

private:
    ULONG_PTR object = 0;
};

std::optional<SecretBytes> Export(NCRYPT_KEY_HANDLE key, LPCWSTR format, NCryptBufferDesc* parameters)
{
    DWORD length = 0;
    if (NCryptExportKey(key, 0, format, parameters, nullptr, 0, &length, NCRYPT_SILENT_FLAG) !=
        ERROR_SUCCESS) {
        return std::nullopt;
    }
    SecretBytes blob(length);
    if (NCryptExportKey(key, 0, format, parameters, blob.data(), length, &length, NCRYPT_SILENT_FLAG) !=
        ERROR_SUCCESS) {
        return std::nullopt;
    }
    blob.resize(length);
    return blob;
}

Botan::secure_vector<wchar_t> RandomPassword()
{
    Botan::AutoSeeded_RNG random;
    const SecretBytes bytes = random.random_vec(32);
    Botan::secure_vector<wchar_t> password;
    for (const uint8_t byte : bytes) {
        password.push_back(static_cast<wchar_t>(L'A' + (byte >> 4U)));
        password.push_back(static_cast<wchar_t>(L'A' + (byte & 15U)));
    }
    password.push_back(L'\0');
    return password;
}

// The only encryption that the function is documented to take.
std::vector<uint8_t> EncryptionParameters()
{
    const CRYPT_PKCS12_PBE_PARAMS header{iterations, saltLength};
    std::vector<uint8_t> parameters(sizeof header + saltLength);
    Botan::copy_mem(parameters.data(), reinterpret_cast<const uint8_t*>(&header), sizeof header);
    Botan::AutoSeeded_RNG().randomize(parameters.data() + sizeof header, saltLength);
    return parameters;
}

// Keys of files may leave CNG encrypted only. A copy that is read from there and has no name, so that it is kept nowhere,
// may be told to leave in clear.
std::optional<SecretBytes> ExportByCopy(NCRYPT_KEY_HANDLE key)
{
    auto password = RandomPassword();
    auto parameters = EncryptionParameters();
    std::string algorithm = szOID_PKCS_12_pbeWithSHA1And3KeyTripleDES;
    NCryptBuffer buffers[] = {
        {static_cast<ULONG>(password.size() * sizeof(wchar_t)), NCRYPTBUFFER_PKCS_SECRET, password.data()},
        {static_cast<ULONG>(algorithm.size() + 1), NCRYPTBUFFER_PKCS_ALG_OID, algorithm.data()},
        {static_cast<ULONG>(parameters.size()), NCRYPTBUFFER_PKCS_ALG_PARAM, parameters.data()}};
    NCryptBufferDesc encryption{NCRYPTBUFFER_VERSION, 3, buffers};
    auto encrypted = Export(key, NCRYPT_PKCS8_PRIVATE_KEY_BLOB, &encryption);
    CngObject provider;
    if (!encrypted ||
        NCryptOpenStorageProvider(provider.Place(), MS_KEY_STORAGE_PROVIDER, 0) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    NCryptBufferDesc decryption{NCRYPTBUFFER_VERSION, 1, buffers};
    CngObject copy;
    DWORD policy = NCRYPT_ALLOW_EXPORT_FLAG | NCRYPT_ALLOW_PLAINTEXT_EXPORT_FLAG;
    if (NCryptImportKey(provider.Get(), 0, NCRYPT_PKCS8_PRIVATE_KEY_BLOB, &decryption, copy.Place(),
                        encrypted->data(), static_cast<DWORD>(encrypted->size()),
                        NCRYPT_SILENT_FLAG) != ERROR_SUCCESS ||
        NCryptSetProperty(copy.Get(), NCRYPT_EXPORT_POLICY_PROPERTY, reinterpret_cast<BYTE*>(&policy),
                          sizeof policy, NCRYPT_SILENT_FLAG) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return Export(copy.Get(), LEGACY_RSAPRIVATE_BLOB, nullptr);
}

// Reads the numbers, which stand one behind the other with their lowest byte first.
class Numbers
{
public:
    explicit Numbers(const SecretBytes& itsBlob) : blob(itsBlob) {}

    template <typename Record>
    Record Next()
    {
        Record record;
        Botan::copy_mem(reinterpret_cast<uint8_t*>(&record), Take(sizeof record), sizeof record);
        return record;
    }

    Botan::BigInt Next(size_t length)
    {
        const uint8_t* start = Take(length);
        SecretBytes bytes(start, start + length);
        std::reverse(bytes.begin(), bytes.end());
        return {bytes.data(), bytes.size()};
    }

private:
    const uint8_t* Take(size_t length)
    {
        if (length > blob.size() - position) {
            throw Botan::Decoding_Error("the key is too short");
        }
        position += length;
        return blob.data() + position - length;
    }

    const SecretBytes& blob;
    size_t position = 0;
};

} // namespace

std::optional<SecretBytes> ExportFromProvider(HCRYPTPROV provider, DWORD kind)
{
    return ProviderKey(provider, kind).Export(PRIVATEKEYBLOB);
}

std::optional<SecretBytes> ExportFromCng(NCRYPT_KEY_HANDLE key)
{
    auto plain = Export(key, LEGACY_RSAPRIVATE_BLOB, nullptr);
    return plain ? std::move(plain) : ExportByCopy(key);
}

std::unique_ptr<Botan::RSA_PrivateKey> LoadExportedKey(const SecretBytes& blob)
{
    Numbers numbers(blob);
    const auto header = numbers.Next<BLOBHEADER>();
    const auto description = numbers.Next<RSAPUBKEY>();
    if (header.bType != PRIVATEKEYBLOB || description.magic != magicOfRsa) {
        throw Botan::Decoding_Error("no private RSA key");
    }
    const Botan::BigInt modulus = numbers.Next((size_t{description.bitlen} + 7) / 8);
    const size_t half = (size_t{description.bitlen} + 15) / 16;
    const Botan::BigInt first = numbers.Next(half);
    const Botan::BigInt second = numbers.Next(half);
    if (first * second != modulus) {
        throw Botan::Decoding_Error("the primes are those of another key");
    }
    return std::make_unique<Botan::RSA_PrivateKey>(first, second,
                                                   Botan::BigInt(uint64_t{description.pubexp}));
}

} // namespace softcard
