#include "src/crypto/rsa_public_key.h"

#include "src/botan/big_int_bytes.h"
#include "src/crypto/pkcs1.h"

#include <botan/exceptn.h>
#include <botan/numthry.h>

#include <utility>

namespace {

constexpr char withoutPadding[] = "Raw";

bool MakesNoKey(const Botan::BigInt& modulus, const Botan::BigInt& exponent)
{
    constexpr std::size_t leastBitsOfModulus = 5;
    constexpr std::size_t leastBitsOfExponent = 2;
    return modulus.bits() < leastBitsOfModulus || modulus.is_even() ||
           exponent.bits() < leastBitsOfExponent || exponent.is_even();
}

bool IsForBotan(const Botan::BigInt& modulus, const Botan::BigInt& exponent)
{
    constexpr std::size_t leastBits = 384;
    constexpr std::size_t mostBits = 16384;
    constexpr std::size_t mostBitsOfExponent = 256;
    return modulus.bits() >= leastBits && modulus.bits() <= mostBits &&
           exponent.bits() <= mostBitsOfExponent && exponent < modulus;
}

} // namespace

RsaPublicKey::RsaPublicKey(const std::vector<uint8_t>& modulusBytes,
                           const std::vector<uint8_t>& exponentBytes)
    : modulus(modulusBytes.data(), modulusBytes.size()), exponent(exponentBytes.data(), exponentBytes.size())
{
    if (MakesNoKey(modulus, exponent)) {
        throw Botan::Decoding_Error("The numbers make no RSA key.");
    }
    if (IsForBotan(modulus, exponent)) {
        botanKey = std::make_unique<Zelmo::Crypto::RSAPubKey>(modulusBytes, exponentBytes);
    }
}

std::vector<uint8_t> RsaPublicKey::Encrypt(std::vector<uint8_t> block) const
{
    if (botanKey != nullptr) {
        return Zelmo::Crypto::RsaEncryptor(botanKey.get(), withoutPadding).Encrypt(std::move(block));
    }
    return BigIntBytes(Power(block), modulus.bytes());
}

bool RsaPublicKey::Verify(const std::vector<uint8_t>& message, const std::vector<uint8_t>& signature) const
{
    try {
        return Power(signature) == Botan::BigInt(pkcs1::SignatureBlock(message, modulus.bytes()));
    } catch (const Botan::Exception&) { // the signature or the message is too long
        return false;
    }
}

Botan::BigInt RsaPublicKey::Power(const std::vector<uint8_t>& number) const
{
    const Botan::BigInt base(number.data(), number.size());
    if (base >= modulus) {
        throw Botan::Invalid_Argument("The number is too large for the key.");
    }
    return power_mod(base, exponent, modulus);
}
