#include "softcard/cardapi/key_operations.h"

#include "softcard/card/card_error.h"

#include "src/crypto/calling_thread_key.h"

#include <botan/auto_rng.h>
#include <botan/exceptn.h>
#include <botan/pubkey.h>

#include <string>

namespace softcard {
namespace {

constexpr size_t leastPadding = 11; // of a PKCS#1 v1.5 block
constexpr uint8_t encryptedDataMark = 0x81;

struct Scheme
{
    std::string padding;
    size_t shortest;
    size_t longest;
};

Scheme SchemeOf(uint32_t reference, size_t keyLength)
{
    switch (reference) {
    case 1:
        return {"EMSA3(Raw)", 0, keyLength - leastPadding};
    case 2:
        return {"EMSA3(Raw,SHA-256)", 32, 32};
    case 3:
        return {"EMSA3(Raw,SHA-384)", 48, 48};
    case 4:
        return {"EMSA3(Raw,SHA-512)", 64, 64};
    default:
        throw CardError(eUnknownPrivKey, "The key has no known reference.");
    }
}

} // namespace

std::vector<uint8_t> Sign(const Botan::RSA_PrivateKey& key, uint32_t reference, std::span<const uint8_t> data)
{
    const Scheme scheme = SchemeOf(reference, key.get_n().bytes());
    if (data.size() < scheme.shortest || data.size() > scheme.longest) {
        throw CardError(eInvalidParam, "The data does not fit the key.");
    }
    Botan::AutoSeeded_RNG random;
    Botan::PK_Signer signer(CallingThreadKey(key), random, scheme.padding);
    return signer.sign_message(data.data(), data.size(), random);
}

Botan::secure_vector<uint8_t> Decrypt(const Botan::RSA_PrivateKey& key, std::span<const uint8_t> data)
{
    const size_t keyLength = key.get_n().bytes();
    if (data.size() == keyLength + 1 && data.front() == encryptedDataMark) {
        data = data.subspan(1); // as the command to a card has it
    }
    if (data.size() != keyLength) {
        throw CardError(eInvalidParam, "The data is not as long as the key.");
    }
    Botan::AutoSeeded_RNG random;
    const Botan::PK_Decryptor_EME decryptor(CallingThreadKey(key), random, "EME-PKCS1-v1_5");
    try {
        return decryptor.decrypt(data.data(), data.size());
    } catch (const Botan::Exception&) {
        throw CardError(eInvalidDataDecoded, "The data was not encrypted for the key.");
    }
}

} // namespace softcard
