#include "front/abi/attributes.h"

#include "front/abi/records.h"
#include "front/abi/refusal.h"

#include <botan/bigint.h>
#include <botan/der_enc.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace front {
namespace {

Bytes WidenNumbers(const Bytes& value)
{
    constexpr std::size_t width = sizeof(packed::CK_ULONG);
    if (value.size() % width != 0) {
        return value;
    }
    Bytes wide;
    for (std::size_t at = 0; at < value.size(); at += width) {
        packed::CK_ULONG number = 0;
        std::memcpy(&number, value.data() + at, width);
        const Bytes widened = NumberValue(Widen(number));
        wide.insert(wide.end(), widened.begin(), widened.end());
    }
    return wide;
}

bool HasWidthOfItsKind(CK_ATTRIBUTE_TYPE type, CK_ULONG length)
{
    switch (KindOf(type)) {
    case AttributeKind::boolean:
        return length == sizeof(CK_BBOOL);
    case AttributeKind::number:
        return length == sizeof(CK_ULONG);
    default:
        return true;
    }
}

} // namespace

AttributeKind KindOf(CK_ATTRIBUTE_TYPE type)
{
    switch (type) {
#define ATTRIBUTE(name, value, ...)                                                                          \
    case name:                                                                                               \
        return AttributeKind::value;
#define LATER ATTRIBUTE
#define OTHER(name, value)                                                                                   \
    case name:                                                                                               \
        return AttributeKind::value;
#include "src/cryptoki/attributes.inc"
    default:
        return AttributeKind::bytes;
    }
}

Bytes WidenValue(CK_ATTRIBUTE_TYPE type, Bytes value)
{
    if (type == CKA_SERIAL_NUMBER) {
        return DerInteger(value);
    }
    switch (KindOf(type)) {
    case AttributeKind::number:
        return value.size() == sizeof(packed::CK_ULONG) ? WidenNumbers(value) : value;
    case AttributeKind::numbers:
        return WidenNumbers(value);
    case AttributeKind::boolean:
        return BooleanValue(IsTrue(value));
    default:
        return value;
    }
}

Bytes DerInteger(std::span<const uint8_t> magnitude)
{
    Bytes encoded;
    Botan::DER_Encoder(encoded).encode(Botan::BigInt(magnitude.data(), magnitude.size()));
    return encoded;
}

Bytes NumberValue(CK_ULONG number)
{
    Bytes value(sizeof(number));
    std::memcpy(value.data(), &number, sizeof(number));
    return value;
}

Bytes BooleanValue(bool flag)
{
    return {static_cast<uint8_t>(flag ? CK_TRUE : CK_FALSE)};
}

bool IsTrue(const Bytes& value)
{
    return std::any_of(value.begin(), value.end(), [](uint8_t byte) { return byte != 0; });
}

Bytes TextValue(const char* text)
{
    const std::string_view view = text;
    return {view.begin(), view.end()};
}

std::span<const uint8_t> ValueOf(const Attributes& attributes, CK_ATTRIBUTE_TYPE type)
{
    const auto found = attributes.find(type);
    return found == attributes.end() ? std::span<const uint8_t>() : found->second;
}

std::optional<CK_ULONG> NumberOf(const Attributes& attributes, CK_ATTRIBUTE_TYPE type)
{
    const auto found = attributes.find(type);
    if (found == attributes.end() || found->second.size() != sizeof(CK_ULONG)) {
        return std::nullopt;
    }
    CK_ULONG number = 0;
    std::memcpy(&number, found->second.data(), sizeof(number));
    return number;
}

bool FlagOf(const Attributes& attributes, CK_ATTRIBUTE_TYPE type)
{
    const auto found = attributes.find(type);
    return found != attributes.end() && IsTrue(found->second);
}

bool IsOfClass(const Attributes& attributes, CK_OBJECT_CLASS objectClass)
{
    return NumberOf(attributes, CKA_CLASS) == objectClass;
}

bool Match(const Attributes& attributes, const Template& wanted)
{
    return std::all_of(wanted.begin(), wanted.end(), [&attributes](const auto& one) {
        const auto own = attributes.find(one.first);
        if (own == attributes.end()) {
            return false;
        }
        return KindOf(one.first) == AttributeKind::boolean ? IsTrue(own->second) == IsTrue(one.second)
                                                           : own->second == one.second;
    });
}

void CheckTemplate(const CK_ATTRIBUTE* records, CK_ULONG count)
{
    Require((records != nullptr || count == 0) && count <= longestTemplate, CKR_ARGUMENTS_BAD);
}

Template ReadTemplate(const CK_ATTRIBUTE* records, CK_ULONG count)
{
    CheckTemplate(records, count);
    Template read;
    for (CK_ULONG i = 0; i < count; ++i) {
        const CK_ATTRIBUTE& record = records[i];
        Require(record.pValue != nullptr || record.ulValueLen == 0, CKR_ARGUMENTS_BAD);
        Require(record.ulValueLen <= longestValue, CKR_ATTRIBUTE_VALUE_INVALID);
        Require(HasWidthOfItsKind(record.type, record.ulValueLen), CKR_ATTRIBUTE_VALUE_INVALID);
        const auto* value = static_cast<const uint8_t*>(record.pValue);
        read.emplace_back(record.type, value == nullptr ? Bytes() : Bytes(value, value + record.ulValueLen));
    }
    return read;
}

} // namespace front
