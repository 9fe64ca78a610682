#include "softcard/cardapi/key_operations.h"

#include "softcard/base/secret.h"
#include "softcard/card/card_error.h"

#include <botan/eme.h>
#include <botan/emsa.h>
#include <botan/exceptn.h>
#include <botan/rng.h>

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
    const std::unique_ptr<Botan::EMSA> encoding(Botan::get_emsa(scheme.padding));
    Botan::Null_RNG none; // the encoding has nothing random
    encoding->update(data.data(), data.size());
    return key.Of(encoding->encoding_of(encoding->raw_data(), key.Bits() - 1, none));
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
    const std::unique_ptr<const Botan::EME> encoding(Botan::get_eme("EME-PKCS1-v1_5"));
    const auto padded = [&] {
        try {
            return key.Of(data);
        } catch (const Botan::Exception&) {
            throw CardError(eInvalidDataDecoded, "The data was not encrypted for the key.");
        }
    }();
    uint8_t isValid = 0;
    auto plain = encoding->unpad(isValid, padded.data(), padded.size());
    if (isValid == 0) {
        throw CardError(eInvalidDataDecoded, "The data was not encrypted for the key.");
    }
    return plain;
}

} // namespace softcard
