#include "src/readers/slot_objects.h"

#include "src/card/card_status.h"
#include "src/cryptoki/names.h"
#include "src/log/logger.h"
#include "src/objects/certificate_objects.h"
#include "src/store/internal_cache.h"

#include <botan/pkix_types.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

// A certificate of the card with the key record at the same place.
struct CertifiedKey
{
    Botan::X509_Certificate certificate;
    CardKeyInfo keyInfo;
};

// The position ties a certificate to its key, by nothing else.
ObjectPlace PlaceOf(const Slot& slot, std::size_t position)
{
    return {slot.slotId, slot.label + "_" + std::to_string(position), slot.label == ordinaryLabel};
}

// The valid bytes of a field of a key record, in the order they stand. A length beyond the field counts as
// the field's.
template <std::size_t capacity>
std::vector<uint8_t> ValidBytes(const uint8_t (&field)[capacity], uint64_t length)
{
    return {field, field + std::min<uint64_t>(length, capacity)};
}

KeyDescription DescribeKey(const CardKeyInfo& keyInfo)
{
    return {keyInfo.keyReference, keyInfo.modulusBits, ValidBytes(keyInfo.modulus, keyInfo.modulusLength),
            ValidBytes(keyInfo.publicExponent, keyInfo.publicExponentLength)};
}

// A certificate that cannot be parsed is left out with its key record, so that the later ones move up.
void ParseCertificate(const CardCertificate& certificate, const CardKeyInfo& keyInfo, uint32_t index,
                      const std::string& label, std::vector<CertifiedKey>& parsed)
{
    constexpr char logFunction[] = "CreateSlotObjects";
    LOG_LINE(LogLevel_Debug, logFunction, "Going to parse X509 certificate");
    LOG_LINE(LogLevel_Debug, logFunction, "Certificate data going to parse");
    try {
        const std::size_t length = std::min<std::size_t>(certificate.length, sizeof(certificate.data));
        const Botan::X509_Certificate x509(certificate.data, length);
        LOG_LINE(LogLevel_Debug, logFunction, "X509 certificate parsed");
        parsed.push_back({x509, keyInfo});
    } catch (...) {
        LOG_LINE(LogLevel_Error, logFunction, "Parsing certificate number: %u for %s slot failed", index,
                 label.c_str());
    }
}

void AddCertificateObjects(CK_SLOT_ID slotId, const std::vector<CertifiedKey>& keys)
{
    constexpr char logFunction[] = "InternalCache::AddCertificateObjects";
    LOG_LINE(LogLevel_Debug, logFunction, "Going to add certificates to internal cache");
    auto& cache = InternalCache::GetInstance();
    const auto slot = cache.GetSlot(slotId);
    for (uint32_t position = 0; slot != nullptr && position < keys.size(); ++position) {
        const auto object = MakeCertificateObject(cache.certificateHandleCounter++, PlaceOf(*slot, position),
                                                  keys[position].certificate);
        object->certificateIndex = position;
        cache.AddObject(object);
        LOG_LINE(LogLevel_Info, logFunction, "%s Certificate object created VERB: object handle 0x%lx",
                 slot->label.c_str(), ForLog(object->objectHandle));
    }
    LOG_LINE(LogLevel_Debug, logFunction, "Add certificates to internal cache end");
}

void AddPrivateKeyObjects(CK_SLOT_ID slotId, const std::vector<CertifiedKey>& keys)
{
    constexpr char logFunction[] = "InternalCache::AddPrivKeyObjects";
    LOG_LINE(LogLevel_Debug, logFunction, "Going to add private key to internal cache");
    auto& cache = InternalCache::GetInstance();
    const auto slot = cache.GetSlot(slotId);
    for (std::size_t position = 0; slot != nullptr && position < keys.size(); ++position) {
        const CK_OBJECT_HANDLE handle = cache.privateKeyHandleCounter++;
        KeyDescription key = DescribeKey(keys[position].keyInfo);
        std::reverse(key.modulus.begin(), key.modulus.end()); // the card has the least significant byte first
        const auto object = MakePrivateKeyObject(handle, PlaceOf(*slot, position), key,
                                                 keys[position].certificate.subject_dn().BER_encode());
        cache.AddObject(object);
        LOG_LINE(LogLevel_Info, logFunction, "%s Private key object created VERB: object handle 0x%lx",
                 slot->label.c_str(), ForLog(object->objectHandle));
    }
    LOG_LINE(LogLevel_Debug, logFunction, "Add private key to internal cache end");
}

} // namespace

void CreateSlotObjects(CK_SLOT_ID slotId)
{
    constexpr char logFunction[] = "CreateSlotObjects";
    const auto& cache = InternalCache::GetInstance();
    const auto slot = cache.GetSlot(slotId);
    const auto token = slot == nullptr ? nullptr : cache.GetCardToken(slot->tokenId);
    if (token == nullptr || (slot->label != qualifiedLabel && slot->label != ordinaryLabel)) {
        return; // the card has gone meanwhile, or the slot is of no key family
    }

    const auto certificates = std::make_unique<CardCertificate[]>(maxCertificates);
    const auto keyInfos = std::make_unique<CardKeyInfo[]>(maxCertificates);
    uint32_t count = 0;
    const auto getCertificates =
        slot->label == qualifiedLabel ? CardAPI_QES_GetCertificates : CardAPI_ES_GetCertificates;
    const CardStatus status =
        getCertificates(token->card.session, certificates.get(), &count, keyInfos.get());
    LOG_LINE(LogLevel_Debug, logFunction, "CardAPI_QES_GetCertificates call end");

    std::vector<CertifiedKey> keys;
    if (status == eStatusOk) {
        for (uint32_t index = 0; index < std::min(count, maxCertificates); ++index) {
            ParseCertificate(certificates[index], keyInfos[index], index, slot->label, keys);
        }
    }
    if (count > maxCertificates) {
        LOG_LINE(LogLevel_Debug, logFunction, "NumOfCerts is greater then MAX_CERTIFICATES_BUFFER...");
    }
    AddCertificateObjects(slotId, keys);
    AddPrivateKeyObjects(slotId, keys);
    LOG_LINE(LogLevel_Debug, logFunction, "Creating slot objects end");
}

CK_OBJECT_HANDLE AddPublicKeyObject(CK_SLOT_ID slotId, const CardKeyInfo& keyInfo, CK_BBOOL verify)
{
    constexpr char logFunction[] = "InternalCache::AddPubKeyObjects";
    LOG_LINE(LogLevel_Debug, logFunction, "Going to add public key to internal cache");
    auto& cache = InternalCache::GetInstance();
    CK_OBJECT_HANDLE handle = 0;
    if (const auto slot = cache.GetSlot(slotId); slot != nullptr) {
        handle = cache.publicKeyHandleCounter++;
        cache.AddObject(MakePublicKeyObject(handle, PlaceOf(*slot, 0), DescribeKey(keyInfo), verify));
        LOG_LINE(LogLevel_Info, logFunction, "%s Public key object created VERB: object handle 0x%lx",
                 slot->label.c_str(), ForLog(handle));
    }
    LOG_LINE(LogLevel_Debug, logFunction, "Add public key to internal cache end");
    return handle;
}
