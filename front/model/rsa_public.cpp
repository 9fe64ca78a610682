#include "front/model/rsa_public.h"

#include "front/abi/refusal.h"

#include <botan/pubkey.h>
#include <botan/rsa.h>
#include <botan/system_rng.h>

#include <cerrno>

#include <sys/random.h>

namespace front {
namespace {

constexpr std::size_t blockFraming = 11; // bytes of a block around its data

Botan::BigInt NumberIn(const Object& key, CK_ATTRIBUTE_TYPE type)
{
    const auto found = key.attributes.find(type);
    Require(found != key.attributes.end() && !found->second.empty(), CKR_KEY_TYPE_INCONSISTENT);
    return Botan::BigInt(found->second);
}

Botan::RSA_PublicKey PublicKey(const Object& key)
{
    return {NumberIn(key, CKA_MODULUS), NumberIn(key, CKA_PUBLIC_EXPONENT)};
}

} // namespace

void RequireRoomInBlock(std::size_t dataLength, std::size_t modulusLength)
{
    Require(modulusLength >= blockFraming && dataLength <= modulusLength - blockFraming, CKR_DATA_LEN_RANGE);
}

std::size_t ModulusLength(const Object& key)
{
    return NumberIn(key, CKA_MODULUS).bytes();
}

bool SignatureMatches(const Object& key, const Bytes& signedData, Input signature)
{
    if (signature.size() != ModulusLength(key)) {
        return false;
    }
    Botan::PK_Verifier verifier(PublicKey(key), "EMSA3(Raw)");
    return verifier.verify_message(signedData.data(), signedData.size(), signature.data(), signature.size());
}

Bytes EncryptFor(const Object& key, Input message)
{
    Botan::System_RNG random;
    const Botan::PK_Encryptor_EME encryptor(PublicKey(key), random, "EME-PKCS1-v1_5");
    return encryptor.encrypt(message.data(), message.size(), random);
}

void FillRandom(std::span<uint8_t> buffer)
{
    while (!buffer.empty()) {
        const ssize_t got = getrandom(buffer.data(), buffer.size(), 0);
        Require(got >= 0 || errno == EINTR, CKR_DEVICE_ERROR);
        buffer = buffer.subspan(got > 0 ? static_cast<std::size_t>(got) : 0);
    }
}

} // namespace front
