#include "softcard/cardapi/key_operations.h"

#include "softcard/base/secret.h"
#include "softcard/card/card_error.h"
#include "src/crypto/pkcs1.h"

#include <botan/exceptn.h>

namespace softcard {
namespace {

constexpr uint8_t encryptedDataMark = 0x81;

struct Scheme
{
    const char* hash; // that is given without a DigestInfo; null where the data are signed as they stand
    size_t shortest;
    size_t longest;
};

Scheme SchemeOf(uint32_t reference, size_t keyLength)
{
    switch (reference) {
    case 1:
        return {nullptr, 0, keyLength - pkcs1::leastFraming};
    case 2:
        return {"SHA-256", 32, 32};
    case 3:
        return {"SHA-384", 48, 48};
    case 4:
        return {"SHA-512", 64, 64};
    default:
        throw CardError(eUnknownPrivKey, "The key has no known reference.");
    }
}

} // namespace

OpenedKeys PrepareKeys(const PrivateKeys& keys)
{
    const TraceWiper wiper;
    OpenedKeys prepared;
    prepared.reserve(keys.size());
    for (const auto& key : keys) {
        prepared.push_back(std::make_shared<const PrivatePower>(*key));
    }
    return prepared;
}

Botan::secure_vector<uint8_t> Sign(const PrivatePower& key, uint32_t reference, std::span<const uint8_t> data)
{
    const TraceWiper wiper;
    const Scheme scheme = SchemeOf(reference, key.Bytes());
    if (data.size() < scheme.shortest || data.size() > scheme.longest) {
        throw CardError(eInvalidParam, "The data does not fit the key.");
    }
    if (scheme.hash == nullptr) {
        return key.Of(pkcs1::SignatureBlock(data, key.Bytes()));
    }
    return key.Of(pkcs1::SignatureBlock(pkcs1::DigestInfo(scheme.hash, data), key.Bytes()));
}

Botan::secure_vector<uint8_t> Decrypt(const PrivatePower& key, std::span<const uint8_t> data)
{
    const TraceWiper wiper;
    const size_t keyLength = key.Bytes();
    if (data.size() == keyLength + 1 && data.front() == encryptedDataMark) {
        data = data.subspan(1); // as the command to a card has it
    }
    if (data.size() != keyLength) {
        throw CardError(eInvalidParam, "The data is not as long as the key.");
    }
    const auto block = [&] {
        try {
            return key.Of(data);
        } catch (const Botan::Exception&) {
            throw CardError(eInvalidDataDecoded, "The data was not encrypted for the key.");
        }
    }();
    uint8_t isValid = 0;
    auto plain = pkcs1::OpenEncryptionBlock(isValid, block);
    if (isValid == 0) {
        throw CardError(eInvalidDataDecoded, "The data was not encrypted for the key.");
    }
    return plain;
}

} // namespace softcard
