// The operations of the store that turn certificates and key records into Cryptoki objects.
#include "src/crypto/certificate_accessor.h"
#include "src/cryptoki/names.h"
#include "src/log/logger.h"
#include "src/objects/attribute_template.h"
#include "src/store/internal_cache.h"

#include <botan/x509_dn.h>

#include <algorithm>
#include <string>

namespace {

// The value of CKA_ID: it ties a certificate to its key, by nothing but their common position.
std::string IdText(const Slot& slot, std::size_t position)
{
    return slot.label + "_" + std::to_string(position);
}

std::unique_ptr<HexBinary> DateValue(const std::string& text)
{
    auto value = std::make_unique<HexBinary>(ckDateLength);
    char date[ckDateLength] = {};
    ToCkDate(text, date);
    std::copy_n(date, ckDateLength, value->data);
    return value;
}

void SetCertificateAttributes(PkcsObject& object, const std::string& idText,
                              const CertificateAccessor& certificate)
{
    const auto subject = certificate.GetSubject();
    const auto encoded = certificate.GetEncoded();
    const auto serialNumber = certificate.GetSerialNumber();
    const auto issuer = certificate.GetIssuer();
    const auto startDate = DateValue(certificate.GetNotBeforeText());
    const auto endDate = DateValue(certificate.GetNotAfterText());

    AttributeTemplate attributes;
    attributes.AddNumber(CKA_CLASS, CKO_CERTIFICATE)
        .AddText(CKA_LABEL, "Signing Certificate")
        .AddText(CKA_ID, idText)
        .AddNumber(CKA_CERTIFICATE_TYPE, CKC_X_509)
        .AddBoolean(CKA_TOKEN, true)
        .AddBoolean(CKA_TRUSTED, false)
        .AddBoolean(CKA_PRIVATE, true)
        .AddBytes(CKA_SUBJECT, *subject)
        .AddBytes(CKA_VALUE, *encoded)
        .AddBytes(CKA_SERIAL_NUMBER, *serialNumber)
        .AddBytes(CKA_ISSUER, *issuer)
        .AddBytes(CKA_START_DATE, *startDate)
        .AddBytes(CKA_END_DATE, *endDate);
    object.SetAttributes(attributes.Records(), attributes.Count());
}

// The valid bytes of a field of a key record, in the order they stand. A length beyond the field counts as
// the field's.
template <std::size_t capacity>
std::vector<uint8_t> ValidBytes(const uint8_t (&field)[capacity], uint64_t length)
{
    return {field, field + std::min<uint64_t>(length, capacity)};
}

// `subject` is the name in DER.
void SetPrivateKeyAttributes(PkcsObject& object, const Slot& slot, const std::string& idText,
                             const CardKeyInfo& keyInfo, const std::vector<uint8_t>& subject)
{
    const bool ordinary = slot.label == ordinaryLabel;
    const auto exponent = ValidBytes(keyInfo.publicExponent, keyInfo.publicExponentLength);
    auto modulus = ValidBytes(keyInfo.modulus, keyInfo.modulusLength);
    std::reverse(modulus.begin(), modulus.end());

    AttributeTemplate attributes;
    attributes.AddNumber(CKA_CLASS, CKO_PRIVATE_KEY)
        .AddText(CKA_ID, idText)
        .AddText(CKA_LABEL, "Signing Key")
        .AddNumber(CKA_KEY_TYPE, CKK_RSA)
        .AddBytes(CKA_SUBJECT, subject.data(), subject.size())
        .AddBoolean(CKA_TOKEN, true)
        .AddBoolean(CKA_EXTRACTABLE, false)
        .AddBoolean(CKA_SENSITIVE, true)
        .AddBoolean(CKA_PRIVATE, true)
        .AddBytes(CKA_PUBLIC_EXPONENT, exponent.data(), exponent.size())
        .AddBytes(CKA_MODULUS, modulus.data(), modulus.size())
        .AddNumber(CKA_MODULUS_BITS, keyInfo.modulusBits)
        .AddBoolean(CKA_SIGN, true)
        .AddBoolean(CKA_ALWAYS_AUTHENTICATE, !ordinary)
        .AddBoolean(CKA_ENCRYPT, ordinary)
        .AddBoolean(CKA_DECRYPT, ordinary)
        .AddBoolean(CKA_NEVER_EXTRACTABLE, true);
    object.SetAttributes(attributes.Records(), attributes.Count());
}

void SetPublicKeyAttributes(PkcsObject& object, const Slot& slot, const std::string& idText,
                            const CardKeyInfo& keyInfo, CK_BBOOL verify)
{
    const bool ordinary = slot.label == ordinaryLabel;
    const auto exponent = ValidBytes(keyInfo.publicExponent, keyInfo.publicExponentLength);
    const auto modulus = ValidBytes(keyInfo.modulus, keyInfo.modulusLength);

    AttributeTemplate attributes;
    attributes.AddNumber(CKA_CLASS, CKO_PUBLIC_KEY)
        .AddText(CKA_ID, idText)
        .AddText(CKA_LABEL, "Public Key")
        .AddNumber(CKA_KEY_TYPE, CKK_RSA)
        .AddBoolean(CKA_TOKEN, false)
        .AddBoolean(CKA_EXTRACTABLE, false)
        .AddBoolean(CKA_SENSITIVE, false)
        .AddBoolean(CKA_PRIVATE, false)
        .AddBytes(CKA_PUBLIC_EXPONENT, exponent.data(), exponent.size())
        .AddBytes(CKA_MODULUS, modulus.data(), modulus.size())
        .AddNumber(CKA_MODULUS_BITS, keyInfo.modulusBits)
        .AddBoolean(CKA_SIGN, false)
        .AddBoolean(CKA_ALWAYS_AUTHENTICATE, false)
        .AddBoolean(CKA_ENCRYPT, ordinary)
        .AddBoolean(CKA_DECRYPT, ordinary)
        .AddBoolean(CKA_NEVER_EXTRACTABLE, false)
        .AddBytes(CKA_VERIFY, &verify, sizeof(verify));
    object.SetAttributes(attributes.Records(), attributes.Count());
}

} // namespace

void InternalCache::AddCertificateObjects(CK_SLOT_ID slotId, const CertificateList& certificates)
{
    constexpr char logFunction[] = "InternalCache::AddCertificateObjects";
    LOG_LINE(LogLevel_Debug, logFunction, "Going to add certificates to internal cache");
    const auto slot = GetSlot(slotId);
    uint32_t runningNumber = 0;
    for (std::size_t position = 0; slot != nullptr && position < certificates.size(); ++position) {
        if (certificates[position] == nullptr) {
            continue;
        }
        auto object = std::make_shared<PkcsObject>(certificateKind, certificateHandleCounter++, slotId);
        const CertificateAccessor accessor(*certificates[position]);
        SetCertificateAttributes(*object, IdText(*slot, position), accessor);
        object->certificateIndex = runningNumber++;
        AddObject(object);
        LOG_LINE(LogLevel_Info, logFunction, "%s Certificate object created VERB: object handle 0x%lx",
                 slot->label.c_str(), ForLog(object->objectHandle));
    }
    LOG_LINE(LogLevel_Debug, logFunction, "Add certificates to internal cache end");
}

void InternalCache::AddPrivKeyObjects(CK_SLOT_ID slotId, const std::vector<CardKeyInfo>& keyInfos,
                                      const CertificateList& certificates)
{
    constexpr char logFunction[] = "InternalCache::AddPrivKeyObjects";
    LOG_LINE(LogLevel_Debug, logFunction, "Going to add private key to internal cache");
    const auto slot = GetSlot(slotId);
    for (std::size_t position = 0; slot != nullptr && position < keyInfos.size(); ++position) {
        const CardKeyInfo& keyInfo = keyInfos[position];
        auto object = std::make_shared<PkcsObject>(privateKeyKind, privateKeyHandleCounter++, slotId);
        const auto subject = certificates[position]->subject_dn().BER_encode();
        SetPrivateKeyAttributes(*object, *slot, IdText(*slot, position), keyInfo, subject);
        object->keyReference = keyInfo.keyReference;
        AddObject(object);
        LOG_LINE(LogLevel_Info, logFunction, "%s Private key object created VERB: object handle 0x%lx",
                 slot->label.c_str(), ForLog(object->objectHandle));
    }
    LOG_LINE(LogLevel_Debug, logFunction, "Add private key to internal cache end");
}

void InternalCache::AddPubKeyObjects(CK_SLOT_ID slotId, const std::vector<CardKeyInfo>& keyInfos,
                                     CK_OBJECT_HANDLE& handle, CK_BBOOL verify)
{
    constexpr char logFunction[] = "InternalCache::AddPubKeyObjects";
    LOG_LINE(LogLevel_Debug, logFunction, "Going to add public key to internal cache");
    const auto slot = GetSlot(slotId);
    for (std::size_t position = 0; slot != nullptr && position < keyInfos.size(); ++position) {
        const CardKeyInfo& keyInfo = keyInfos[position];
        auto object = std::make_shared<PkcsObject>(publicKeyKind, publicKeyHandleCounter++, slotId);
        SetPublicKeyAttributes(*object, *slot, IdText(*slot, position), keyInfo, verify);
        object->keyReference = keyInfo.keyReference;
        handle = object->objectHandle;
        AddObject(object);
        LOG_LINE(LogLevel_Info, logFunction, "%s Public key object created VERB: object handle 0x%lx",
                 slot->label.c_str(), ForLog(object->objectHandle));
    }
    LOG_LINE(LogLevel_Debug, logFunction, "Add public key to internal cache end");
}
