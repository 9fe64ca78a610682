#include "src/objects/pkcs_object.h"

#include "src/cryptoki/names.h"
#include "src/log/logger.h"
#include "src/objects/attribute_answers.h"

#include <algorithm>

namespace {

constexpr char filterFunction[] = "PkcsObject::FilterMatches";

bool SameBytes(const HexBinary& first, const HexBinary& second)
{
    const int32_t firstLength = std::max(first.length, 0);
    const int32_t secondLength = std::max(second.length, 0);
    return firstLength == secondLength && std::equal(first.data, first.data + firstLength, second.data);
}

// An attribute whose value is null equals nothing.
bool HasSameValue(const PkcsAttributes& attributes, const PkcsAttribute& required)
{
    return std::any_of(attributes.begin(), attributes.end(), [&required](const auto& own) {
        return own->type == required.type && own->value != nullptr && SameBytes(*own->value, *required.value);
    });
}

void LogFilter(const PkcsAttributes& filter, CK_OBJECT_HANDLE objectHandle)
{
    for (const auto& required : filter) {
        LOG_LINE(LogLevel_Debug, filterFunction, "Required attribute %s in object with handle 0x%lx",
                 AttributeName(required->type), ForLog(objectHandle));
        LOG_LINE(LogLevel_Debug, filterFunction, "Required attribute value %s",
                 required->value->ToHexString().c_str());
    }
}

} // namespace

PkcsObject::PkcsObject(uint32_t ownKind, CK_OBJECT_HANDLE handle, CK_SLOT_ID ownSlotId)
    : kind(ownKind), slotId(ownSlotId), objectHandle(handle)
{
}

void PkcsObject::SetAttributes(const CK_ATTRIBUTE* attributeTemplate, CK_ULONG count)
{
    for (CK_ULONG i = 0; i < count; ++i) {
        const CK_ATTRIBUTE& record = attributeTemplate[i];
        if (FindAttribute(record.type) == nullptr) {
            attributes.push_back(std::make_unique<PkcsAttribute>(record.type, CopyValue(record).get()));
        }
    }
}

CK_RV PkcsObject::GetAttribute(CK_ATTRIBUTE_TYPE type, PkcsAttribute& out) const
{
    AttributeAnswer answer = AttributeAnswer::invalid;
    switch (kind) {
    case privateKeyKind:
    case publicKeyKind:
        answer = AnswerOfKey(type);
        break;
    case certificateKind:
        answer = AnswerOfCertificate(type);
        break;
    default:
        return CKR_FUNCTION_FAILED;
    }
    if (answer == AttributeAnswer::invalid) {
        return CKR_ATTRIBUTE_TYPE_INVALID;
    }

    const PkcsAttribute* stored = answer == AttributeAnswer::stored ? FindAttribute(type) : nullptr;
    out.type = type;
    out.value = stored == nullptr ? MakeUnavailableValue() : PkcsAttribute(type, stored->value.get()).value;
    return CKR_OK;
}

std::shared_ptr<RsaPublicKey> PkcsObject::PublicKey() const
{
    return publicKey->Get([this]() -> std::shared_ptr<RsaPublicKey> {
        PkcsAttribute modulus(CKA_MODULUS);
        PkcsAttribute exponent(CKA_PUBLIC_EXPONENT);
        if (GetAttribute(CKA_MODULUS, modulus) != CKR_OK ||
            GetAttribute(CKA_PUBLIC_EXPONENT, exponent) != CKR_OK) {
            return nullptr;
        }
        return std::make_shared<RsaPublicKey>(modulus.GetBytes(), exponent.GetBytes());
    });
}

bool PkcsObject::FilterMatches(const PkcsAttributes& filter) const
{
    if (filter.empty()) {
        return true;
    }
    if (attributes.empty()) {
        LOG_LINE(LogLevel_Debug, filterFunction, "object 0x%lx has not attributes", ForLog(objectHandle));
        return false;
    }
    LogFilter(filter, objectHandle);
    for (const auto& required : filter) {
        if (FindAttribute(required->type) == nullptr) {
            LOG_LINE(LogLevel_Debug, filterFunction,
                     "Filter does not match, attribute %s not found in object with handle 0x%lx",
                     AttributeName(required->type), ForLog(objectHandle));
            return false;
        }
        if (!HasSameValue(attributes, *required)) {
            LOG_LINE(
                LogLevel_Debug, filterFunction,
                "Filter does not match, attribute %s found in object but values are different, object handle "
                "0x%lx",
                AttributeName(required->type), ForLog(objectHandle));
            LOG_LINE(LogLevel_Debug, filterFunction, "Filter required template attribute value: %s",
                     required->value->ToHexString().c_str());
            return false;
        }
        LOG_LINE(LogLevel_Debug, filterFunction, "Attribute: %lu found", ForLog(required->type));
    }
    LOG_LINE(LogLevel_Debug, filterFunction, "Filter matches, all attributes found, object handle 0x%lx",
             ForLog(objectHandle));
    return true;
}

const PkcsAttribute* PkcsObject::FindAttribute(CK_ATTRIBUTE_TYPE type) const
{
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [type](const auto& attribute) { return attribute->type == type; });
    return found == attributes.end() ? nullptr : found->get();
}
