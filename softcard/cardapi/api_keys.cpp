// The boundary: certificates, public keys and the operations with the private ones.
#include "softcard/card/card_access.h"
#include "softcard/card/card_certificate.h"
#include "softcard/card/card_error.h"
#include "softcard/cardapi/boundary.h"
#include "softcard/cardapi/key_operations.h"
#include "src/botan/big_int_bytes.h"
#include "src/platform/process_end.h"

#include <algorithm>
#include <span>
#include <string>

using softcard::CardError;
using softcard::CardKey;
using softcard::EnterCard;
using softcard::Guarded;
using softcard::KeyFamily;
using softcard::RequirePointer;
using softcard::UseCard;

namespace {

std::string Prefix(KeyFamily family)
{
    return family == KeyFamily::qualified ? "QES" : "ES";
}

CardKeyInfo DescribeKey(const CardKey& key)
{
    const auto [modulus, exponent] = softcard::PublicNumbersOf(key);
    CardKeyInfo info{};
    info.keyReference = key.reference;
    info.modulusBits = static_cast<uint32_t>(modulus.bits());
    info.modulusLength = modulus.bytes();
    const auto modulusBytes = BigIntBytes(modulus);
    std::reverse_copy(modulusBytes.begin(), modulusBytes.end(), info.modulus);
    info.publicExponentLength = exponent.bytes();
    std::ranges::copy(BigIntBytes(exponent), info.publicExponent);
    return info;
}

void CopyCertificate(const CardKey& key, CardCertificate& certificate)
{
    softcard::RequireRoomFor(key);
    certificate.length = static_cast<uint32_t>(key.certificate.size());
    std::copy(key.certificate.begin(), key.certificate.end(), certificate.data);
}

CardStatus GetCertificates(CardSession session, KeyFamily family, CardCertificate* certificates,
                           uint32_t* count, CardKeyInfo* keys)
{
    return Guarded([&] {
        RequirePointer(certificates);
        RequirePointer(count);
        RequirePointer(keys);
        *count = 0;
        const auto found = UseCard(session, Prefix(family) + "_GetCertificates");
        const WorkBeforeEnd work;
        const auto& cardKeys = found->InsertedCard().Keys(family);
        const auto number = std::min<size_t>(cardKeys.size(), maxCertificates);
        for (size_t i = 0; i < number; ++i) {
            CopyCertificate(cardKeys[i], certificates[i]);
            keys[i] = DescribeKey(cardKeys[i]);
        }
        *count = static_cast<uint32_t>(number);
    });
}

CardStatus GetKeyInfo(CardSession session, KeyFamily family, CardKeyInfo* key)
{
    return Guarded([&] {
        RequirePointer(key);
        const auto found = UseCard(session, Prefix(family) + "_GetKeyInfo");
        const WorkBeforeEnd work;
        const auto& cardKeys = found->InsertedCard().Keys(family);
        if (cardKeys.empty()) {
            throw CardError(eCertNotLoaded, "The card has no key of this family.");
        }
        *key = DescribeKey(cardKeys.front());
    });
}

// The caller's side of an operation. Throws CardError when a pointer is missing.
struct Exchange
{
    Exchange(const uint8_t* data, uint32_t length, uint8_t* outputStart, uint32_t* outputLength)
        : input(data, data == nullptr ? 0 : length), output(outputStart), lengthOfOutput(outputLength)
    {
        if (length != 0) {
            RequirePointer(data);
        }
        RequirePointer(outputStart);
        RequirePointer(outputLength);
    }

    void Answer(std::span<const uint8_t> result) const
    {
        if (result.size() > *lengthOfOutput) {
            throw CardError(eInsuficientBuffer, "The result does not fit.");
        }
        std::copy(result.begin(), result.end(), output);
        *lengthOfOutput = static_cast<uint32_t>(result.size());
    }

    std::span<const uint8_t> input;
    uint8_t* output;
    uint32_t* lengthOfOutput;
};

// The family's key that signs, its first one.
void SignWith(const softcard::OpenedKeys& keys, const std::vector<CardKey>& cardKeys,
              const Exchange& exchange)
{
    if (keys.empty()) {
        throw CardError(eUnknownPrivKey, "The card has no key of this family.");
    }
    exchange.Answer(softcard::Sign(*keys.front(), cardKeys.front().reference, exchange.input));
}

} // namespace

CardStatus CardAPI_QES_GetCertificates(CardSession session, CardCertificate* certificates, uint32_t* count,
                                       CardKeyInfo* keys)
{
    return GetCertificates(session, KeyFamily::qualified, certificates, count, keys);
}

CardStatus CardAPI_ES_GetCertificates(CardSession session, CardCertificate* certificates, uint32_t* count,
                                      CardKeyInfo* keys)
{
    return GetCertificates(session, KeyFamily::ordinary, certificates, count, keys);
}

CardStatus CardAPI_QES_GetKeyInfo(CardSession session, uint32_t /*zero*/, CardKeyInfo* key, bool /*yes*/)
{
    return GetKeyInfo(session, KeyFamily::qualified, key);
}

CardStatus CardAPI_ES_GetKeyInfo(CardSession session, uint32_t /*zero*/, CardKeyInfo* key, bool /*yes*/)
{
    return GetKeyInfo(session, KeyFamily::ordinary, key);
}

CardStatus CardAPI_QES_SignData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                                uint32_t* outputLength, uint32_t /*zero*/)
{
    return Guarded([&] {
        const Exchange exchange(data, length, output, outputLength);
        const auto found = UseCard(session, "QES_SignData");
        const WorkBeforeEnd work;
        const auto entry = EnterCard(found->InsertedCard().folder);
        // A signature that fails costs the authorisation too.
        const auto keys = found->TakeQualifiedKeys();
        if (!keys) {
            throw CardError(eInvalidCodeState, "The signature PIN is not verified.");
        }
        SignWith(*keys, found->InsertedCard().qualifiedKeys, exchange);
    });
}

CardStatus CardAPI_ES_SignData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                               uint32_t* outputLength, uint32_t /*zero*/)
{
    return Guarded([&] {
        const Exchange exchange(data, length, output, outputLength);
        const auto found = UseCard(session, "ES_SignData");
        const WorkBeforeEnd work;
        const auto entry = EnterCard(found->InsertedCard().folder);
        const auto keys = found->OrdinaryKeys();
        if (!keys) {
            throw CardError(eSmNotInitialized, "The login code is not verified.");
        }
        SignWith(*keys, found->InsertedCard().ordinaryKeys, exchange);
    });
}

CardStatus CardAPI_ES_DecryptData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                                  uint32_t* outputLength, uint32_t certificateIndex)
{
    return Guarded([&] {
        const Exchange exchange(data, length, output, outputLength);
        const auto found = UseCard(session, "ES_DecryptData");
        const WorkBeforeEnd work;
        const auto entry = EnterCard(found->InsertedCard().folder);
        const auto keys = found->OrdinaryKeys();
        if (!keys) {
            throw CardError(eSmNotInitialized, "The login code is not verified.");
        }
        if (certificateIndex >= keys->size()) {
            throw CardError(eUnknownPrivKey, "The card has no such key.");
        }
        exchange.Answer(softcard::Decrypt(*keys->at(certificateIndex), exchange.input));
    });
}
