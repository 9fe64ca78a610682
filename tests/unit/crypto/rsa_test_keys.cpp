#include "tests/unit/crypto/rsa_test_keys.h"

#include "src/crypto/byte_conversion.h"

#include <botan/numthry.h>

#include <map>
#include <memory>

using Zelmo::Crypto::RSAPrivKey;

RSAPrivKey& TestRsaKey(int bits)
{
    // Never destroyed: the allocator that the keys lie in may be gone before them.
    static auto& keys = *new std::map<int, std::unique_ptr<RSAPrivKey>>;
    auto& key = keys[bits];
    if (key == nullptr) {
        key = std::make_unique<RSAPrivKey>(bits);
    }
    return *key;
}

RSAPrivKey& OtherRsaKey()
{
    static auto& key = *new RSAPrivKey(1024);
    return key;
}

Botan::RSA_PrivateKey NewKeyOfPrimes(Botan::RandomNumberGenerator& random, std::size_t bitsOfP,
                                     std::size_t bitsOfQ)
{
    const Botan::BigInt e = 65537;
    return {random_prime(random, bitsOfP, e), random_prime(random, bitsOfQ, e), e};
}

std::vector<uint8_t> TakeBytes(HexBinary* value)
{
    const std::unique_ptr<HexBinary> owned(value);
    return ToVector(owned.get());
}

HexBinary MakeHex(const std::vector<uint8_t>& bytes)
{
    return HexBinary(bytes.data(), static_cast<int32_t>(bytes.size()), true);
}
