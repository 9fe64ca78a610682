#include "src/crypto/byte_conversion.h"
#include "src/crypto/with_generator.h"
#include "tavrik/rsa.h"

#include <botan/rsa.h>

namespace Zelmo::Crypto {

namespace {

std::unique_ptr<RSAPubKey> PublicHalf(const Botan::RSA_PrivateKey& key)
{
    const Botan::AlgorithmIdentifier algorithm = key.algorithm_identifier();
    return std::make_unique<RSAPubKey>(&algorithm, key.public_key_bits());
}

template <typename Pointer>
Pointer CopyOf(const Pointer& key)
{
    return Pointer(key == nullptr ? nullptr : new typename Pointer::element_type(*key));
}

} // namespace

void OwnedEnd::operator()(Botan::RSA_PublicKey* key) const
{
    delete key;
}

void OwnedEnd::operator()(Botan::RSA_PrivateKey* key) const
{
    delete key;
}

RSAPubKey::RSAPubKey() = default;

// NOLINTBEGIN(performance-unnecessary-value-param): the exported signatures
RSAPubKey::RSAPubKey(const Botan::AlgorithmIdentifier* algorithm, std::vector<uint8_t> keyBits)
    : botanKey(new Botan::RSA_PublicKey(*algorithm, keyBits))
{
}

RSAPubKey::RSAPubKey(std::vector<uint8_t> modulus, std::vector<uint8_t> exponent)
    : botanKey(new Botan::RSA_PublicKey(Botan::BigInt(modulus), Botan::BigInt(exponent)))
{
}
// NOLINTEND(performance-unnecessary-value-param)

RSAPubKey::RSAPubKey(const RSAPubKey& other) : botanKey(CopyOf(other.botanKey)) {}

RSAPubKey::~RSAPubKey() = default;

RSAPubKey& RSAPubKey::operator=(const RSAPubKey& other)
{
    if (this != &other) {
        botanKey = CopyOf(other.botanKey);
    }
    return *this;
}

Botan::RSA_PublicKey* RSAPubKey::GetBotanPublicKey() const
{
    return botanKey.get();
}

HexBinary* RSAPubKey::Get_N() const
{
    return ToHexBinary(botanKey->get_n());
}

HexBinary* RSAPubKey::Get_E() const
{
    return ToHexBinary(botanKey->get_e());
}

void RSAPubKey::SetModulus(const HexBinary* /*modulus*/) {}

RSAPrivKey::RSAPrivKey() = default;

RSAPrivKey::RSAPrivKey(int bits)
{
    Botan::AutoSeeded_RNG generator(reseedInterval);
    botanKey.reset(new Botan::RSA_PrivateKey(generator, static_cast<std::size_t>(bits)));
    publicKey = PublicHalf(*botanKey);
}

RSAPrivKey::RSAPrivKey(const HexBinary* p, const HexBinary* q, const HexBinary* e)
    : botanKey(new Botan::RSA_PrivateKey(ToBigInt(*p), ToBigInt(*q), ToBigInt(*e))),
      publicKey(PublicHalf(*botanKey))
{
}

RSAPrivKey::RSAPrivKey(const RSAPrivKey& other)
    : botanKey(CopyOf(other.botanKey)), publicKey(CopyOf(other.publicKey))
{
}

RSAPrivKey::~RSAPrivKey() = default;

RSAPrivKey& RSAPrivKey::operator=(const RSAPrivKey& other)
{
    if (this != &other) {
        auto key = CopyOf(other.botanKey);
        if (publicKey != nullptr && other.publicKey != nullptr) {
            *publicKey = *other.publicKey; // operations may refer to it
        } else {
            SetPublicKey(CopyOf(other.publicKey).release());
        }
        botanKey = std::move(key);
    }
    return *this;
}

Botan::RSA_PrivateKey* RSAPrivKey::GetBotanPrivateKey() const
{
    return botanKey.get();
}

RSAPubKey* RSAPrivKey::GetPublicKey() const
{
    return publicKey.get();
}

void RSAPrivKey::SetPublicKey(RSAPubKey* key)
{
    static_cast<void>(publicKey.release());
    publicKey.reset(key);
}

HexBinary* RSAPrivKey::Get_P() const
{
    return ToHexBinary(botanKey->get_p());
}

HexBinary* RSAPrivKey::Get_Q() const
{
    return ToHexBinary(botanKey->get_q());
}

HexBinary* RSAPrivKey::Get_D() const
{
    return ToHexBinary(botanKey->get_d());
}

HexBinary* RSAPrivKey::Get_DP() const
{
    return ToHexBinary(botanKey->get_d1());
}

HexBinary* RSAPrivKey::Get_DQ() const
{
    return ToHexBinary(botanKey->get_d2());
}

} // namespace Zelmo::Crypto
