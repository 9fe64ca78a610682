#include "src/objects/pkcs_attribute.h"

namespace {

std::unique_ptr<HexBinary> CopyOrEmpty(const HexBinary* source)
{
    if (source == nullptr || source->length <= 0) {
        return MakeEmptyValue();
    }
    return std::make_unique<HexBinary>(source->data, source->length, true);
}

} // namespace

PkcsAttribute::PkcsAttribute(CK_ATTRIBUTE_TYPE ownType) : type(ownType), value(MakeEmptyValue()) {}

PkcsAttribute::PkcsAttribute(CK_ATTRIBUTE_TYPE ownType, const HexBinary* source)
    : type(ownType), value(CopyOrEmpty(source))
{
}

bool PkcsAttribute::HasValue() const
{
    return value != nullptr && value->length > 0;
}

std::vector<uint8_t> PkcsAttribute::GetBytes() const
{
    std::vector<uint8_t> bytes;
    if (HasValue()) {
        bytes.assign(value->data, value->data + value->length);
    }
    return bytes;
}

std::unique_ptr<HexBinary> MakeEmptyValue()
{
    return std::make_unique<HexBinary>(nullptr, 0, false);
}

std::unique_ptr<HexBinary> MakeUnavailableValue()
{
    return std::make_unique<HexBinary>(nullptr, -1, false);
}

std::unique_ptr<HexBinary> CopyValue(const CK_ATTRIBUTE& attribute)
{
    if (attribute.pValue == nullptr) {
        return MakeEmptyValue();
    }
    const auto* bytes = static_cast<const uint8_t*>(attribute.pValue);
    return std::make_unique<HexBinary>(bytes, static_cast<int32_t>(attribute.ulValueLen), true);
}
