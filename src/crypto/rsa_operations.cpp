#include "src/crypto/byte_conversion.h"
#include "src/crypto/calling_thread_key.h"
#include "src/crypto/with_generator.h"
#include "tavrik/rsa.h"

#include <botan/pubkey.h>
#include <botan/rsa.h>

#include <algorithm>
#include <utility>

namespace Zelmo::Crypto {

namespace {

using SignerWithGenerator = WithGenerator<Botan::PK_Signer>;
using DecryptorWithGenerator = WithGenerator<Botan::PK_Decryptor_EME>;

constexpr auto signatureFormat = Botan::Signature_Format{}; // the first
constexpr char anyProvider[] = "";
constexpr char withoutPadding[] = "Raw";

// The bytes of a number. Botan takes zeros in front for nothing up to 2.19.3, and refuses a number that is longer than
// the modulus with them in later versions.
std::vector<uint8_t> WithoutLeadingZeros(std::vector<uint8_t> number)
{
    number.erase(number.begin(),
                 std::find_if(number.begin(), number.end(), [](uint8_t byte) { return byte != 0; }));
    return number;
}

// Each gives nothing for a null key, which is how an object without that half is made.

Owned<Botan::PK_Signer> MakeSigner(const RSAPrivKey* key, const std::string& mode)
{
    return Owned<Botan::PK_Signer>(
        key == nullptr ? nullptr
                       : SignerWithGenerator::Make(CallingThreadKey(*key->GetBotanPrivateKey()), mode,
                                                   signatureFormat, anyProvider));
}

Owned<Botan::PK_Verifier> MakeVerifier(const RSAPubKey* key, const std::string& mode)
{
    return Owned<Botan::PK_Verifier>(key == nullptr ? nullptr
                                                    : new Botan::PK_Verifier(*key->GetBotanPublicKey(), mode,
                                                                             signatureFormat, anyProvider));
}

Owned<Botan::PK_Encryptor_EME> MakeEncryptor(const RSAPubKey* key, const std::string& mode)
{
    if (key == nullptr) {
        return nullptr;
    }
    Botan::Null_RNG none; // only referred to while the object is made
    return Owned<Botan::PK_Encryptor_EME>(
        new Botan::PK_Encryptor_EME(*key->GetBotanPublicKey(), none, mode, anyProvider));
}

Owned<Botan::PK_Decryptor_EME> MakeDecryptor(const RSAPrivKey* key, const std::string& mode)
{
    return Owned<Botan::PK_Decryptor_EME>(
        key == nullptr
            ? nullptr
            : DecryptorWithGenerator::Make(CallingThreadKey(*key->GetBotanPrivateKey()), mode, anyProvider));
}

HexBinary* SignWith(Botan::PK_Signer& signer, const HexBinary* data)
{
    Botan::AutoSeeded_RNG generator(reseedInterval);
    std::vector<uint8_t> signature = signer.sign_message(ToVector(data), generator);
    return HexBinary::FromByteVector(signature);
}

} // namespace

void OwnedEnd::operator()(Botan::PK_Signer* operation) const
{
    SignerWithGenerator::Destroy(operation);
}

void OwnedEnd::operator()(Botan::PK_Decryptor_EME* operation) const
{
    DecryptorWithGenerator::Destroy(operation);
}

void OwnedEnd::operator()(Botan::PK_Verifier* operation) const
{
    delete operation;
}

void OwnedEnd::operator()(Botan::PK_Encryptor_EME* operation) const
{
    delete operation;
}

// NOLINTBEGIN(performance-unnecessary-value-param): the exported signatures

RSA::RSA(RSAPrivKey* givenKey, std::string givenMode)
    : mode(std::move(givenMode)), privateKey(givenKey), publicKey(givenKey->GetPublicKey()),
      signer(MakeSigner(privateKey, mode)), verifier(MakeVerifier(publicKey, mode))
{
}

RSA::RSA(RSAPubKey* givenKey, std::string givenMode)
    : mode(std::move(givenMode)), publicKey(givenKey), verifier(MakeVerifier(publicKey, mode))
{
}

RSA::RSA(const RSA& other)
    : mode(other.mode), privateKey(other.privateKey), publicKey(other.publicKey),
      signer(MakeSigner(privateKey, mode)), verifier(MakeVerifier(publicKey, mode))
{
}

RSA::~RSA() = default;

RSA& RSA::operator=(const RSA& other)
{
    RSA copy(other);
    std::swap(mode, copy.mode);
    privateKey = other.privateKey;
    publicKey = other.publicKey;
    std::swap(signer, copy.signer);
    std::swap(verifier, copy.verifier);
    return *this;
}

HexBinary* RSA::Sign(const HexBinary* data)
{
    return SignWith(*signer, data);
}

bool RSA::Verify(const HexBinary* message, const HexBinary* signature)
{
    return verifier->verify_message(ToVector(message), WithoutLeadingZeros(ToVector(signature)));
}

std::string RSA::GetSignerMode(std::string oid)
{
    if (oid == "1.2.840.113549.1.1.5") {
        return "EMSA3(SHA-1)";
    }
    if (oid == "1.2.840.113549.1.1.11") {
        return "EMSA3(SHA-256)";
    }
    if (oid == "1.2.840.113549.1.1.12") {
        return "EMSA3(SHA-384)";
    }
    if (oid == "1.2.840.113549.1.1.13") {
        return "EMSA3(SHA-512)";
    }
    return "";
}

RsaSigner::RsaSigner(RSAPrivKey* givenKey, std::string givenMode)
    : mode(std::move(givenMode)), key(givenKey), signer(MakeSigner(key, mode))
{
}

RsaSigner::RsaSigner(const RsaSigner& other) : RsaSigner(other.key, other.mode) {}

RsaSigner::~RsaSigner() = default;

RsaSigner& RsaSigner::operator=(const RsaSigner& other)
{
    if (this != &other) {
        signer = MakeSigner(other.key, other.mode);
        mode = other.mode;
        key = other.key;
    }
    return *this;
}

HexBinary* RsaSigner::Sign(const HexBinary* data)
{
    return SignWith(*signer, data);
}

RsaVerifier::RsaVerifier(RSAPrivKey* givenKey, std::string givenMode)
    : RsaVerifier(givenKey->GetPublicKey(), std::move(givenMode))
{
}

RsaVerifier::RsaVerifier(RSAPubKey* givenKey, std::string givenMode)
    : mode(std::move(givenMode)), key(givenKey), verifier(MakeVerifier(key, mode))
{
}

RsaVerifier::RsaVerifier(const RsaVerifier& other) : RsaVerifier(other.key, other.mode) {}

RsaVerifier::~RsaVerifier() = default;

RsaVerifier& RsaVerifier::operator=(const RsaVerifier& other)
{
    if (this != &other) {
        verifier = MakeVerifier(other.key, other.mode);
        mode = other.mode;
        key = other.key;
    }
    return *this;
}

bool RsaVerifier::Verify(std::vector<uint8_t> message, std::vector<uint8_t> signature)
{
    return verifier->verify_message(message, WithoutLeadingZeros(std::move(signature)));
}

RsaEncryptor::RsaEncryptor(RSAPrivKey* givenKey, std::string givenMode)
    : RsaEncryptor(givenKey->GetPublicKey(), std::move(givenMode))
{
}

RsaEncryptor::RsaEncryptor(RSAPubKey* givenKey, std::string givenMode)
    : mode(std::move(givenMode)), key(givenKey), encryptor(MakeEncryptor(key, mode))
{
}

RsaEncryptor::RsaEncryptor(const RsaEncryptor& other) : RsaEncryptor(other.key, other.mode) {}

RsaEncryptor::~RsaEncryptor() = default;

RsaEncryptor& RsaEncryptor::operator=(const RsaEncryptor& other)
{
    if (this != &other) {
        encryptor = MakeEncryptor(other.key, other.mode);
        mode = other.mode;
        key = other.key;
    }
    return *this;
}

std::vector<uint8_t> RsaEncryptor::Encrypt(std::vector<uint8_t> data)
{
    if (mode == withoutPadding) { // to seed a generator takes longer than the encryption
        Botan::Null_RNG none;
        return encryptor->encrypt(WithoutLeadingZeros(std::move(data)), none);
    }
    Botan::AutoSeeded_RNG generator(reseedInterval);
    return encryptor->encrypt(data, generator);
}

RsaDecryptor::RsaDecryptor(RSAPrivKey* givenKey, std::string givenMode)
    : mode(std::move(givenMode)), key(givenKey), decryptor(MakeDecryptor(key, mode))
{
}

RsaDecryptor::RsaDecryptor(const RsaDecryptor& other) : RsaDecryptor(other.key, other.mode) {}

RsaDecryptor::~RsaDecryptor() = default;

RsaDecryptor& RsaDecryptor::operator=(const RsaDecryptor& other)
{
    if (this != &other) {
        decryptor = MakeDecryptor(other.key, other.mode);
        mode = other.mode;
        key = other.key;
    }
    return *this;
}

HexBinary* RsaDecryptor::Decrypt(const HexBinary* data)
{
    const auto plain = decryptor->decrypt(WithoutLeadingZeros(ToVector(data)));
    return new HexBinary(plain.data(), static_cast<int32_t>(plain.size()), true);
}

// NOLINTEND(performance-unnecessary-value-param)

} // namespace Zelmo::Crypto
