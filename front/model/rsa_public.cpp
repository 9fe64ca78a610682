#include "front/model/rsa_public.h"

#include "front/abi/refusal.h"
#include "front/system/random.h"
#include "src/crypto/pkcs1.h"

#include <botan/pubkey.h>
#include <botan/rsa.h>
#include <botan/system_rng.h>

#include <algorithm>

namespace front {
namespace {

Botan::BigInt NumberIn(const Object& key, CK_ATTRIBUTE_TYPE type)
{
    const auto found = key.attributes.find(type);
    Require(found != key.attributes.end() && !found->second.empty(), CKR_KEY_TYPE_INCONSISTENT);
    return Botan::BigInt(found->second);
}

// Botan takes far longer to make a key than to use it, so it is made at its first use and lives with the object.
std::shared_ptr<const Botan::RSA_PublicKey> PublicKey(const Object& key)
{
    return key.publicKey->Get([&key] {
        return std::make_shared<Botan::RSA_PublicKey>(NumberIn(key, CKA_MODULUS),
                                                      NumberIn(key, CKA_PUBLIC_EXPONENT));
    });
}

} // namespace

void RequireRoomInBlock(std::size_t dataLength, std::size_t modulusLength)
{
    Require(modulusLength >= pkcs1::leastFraming && dataLength <= modulusLength - pkcs1::leastFraming,
            CKR_DATA_LEN_RANGE);
}

std::size_t ModulusLength(const Object& key)
{
    return NumberIn(key, CKA_MODULUS).bytes();
}

// Not with Botan's verifier, which answers that a signature does not match when it has no memory to tell.
bool SignatureMatches(const Object& key, const Bytes& signedData, Input signature)
{
    const auto publicKey = PublicKey(key);
    const Botan::BigInt& modulus = publicKey->get_n();
    const std::size_t length = modulus.bytes();
    if (signature.size() != length || signedData.size() + pkcs1::leastFraming > length ||
        Botan::BigInt(signature.data(), signature.size()) >= modulus) {
        return false;
    }
    Botan::System_RNG random; // not used for an encryption without padding
    const Botan::PK_Encryptor_EME power(*publicKey, random, "Raw");
    const auto block = power.encrypt(signature.data(), signature.size(), random);
    const auto expected = pkcs1::SignatureBlock(signedData, length);
    return std::equal(block.begin(), block.end(), expected.begin(), expected.end());
}

Bytes EncryptFor(const Object& key, Input message)
{
    const auto publicKey = PublicKey(key);
    Botan::System_RNG random;
    const Botan::PK_Encryptor_EME encryptor(*publicKey, random, "EME-PKCS1-v1_5");
    return encryptor.encrypt(message.data(), message.size(), random);
}

void FillRandom(std::span<uint8_t> buffer)
{
    Require(FillWithRandom(buffer), CKR_DEVICE_ERROR);
}

} // namespace front
