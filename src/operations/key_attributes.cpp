#include "src/operations/key_attributes.h"

#include <algorithm>

std::vector<uint8_t> ReadBytes(const PkcsObject& key, CK_ATTRIBUTE_TYPE type)
{
    PkcsAttribute attribute(type);
    return key.GetAttribute(type, attribute) == CKR_OK ? attribute.GetBytes() : std::vector<uint8_t>();
}

std::optional<bool> ReadFlag(const PkcsObject& key, CK_ATTRIBUTE_TYPE type)
{
    const auto bytes = ReadBytes(key, type);
    if (bytes.empty()) {
        return std::nullopt;
    }
    return bytes[0] == CK_TRUE;
}

std::optional<uint32_t> ReadNumber(const PkcsObject& key, CK_ATTRIBUTE_TYPE type)
{
    const auto bytes = ReadBytes(key, type);
    if (bytes.empty()) {
        return std::nullopt;
    }
    uint32_t number = 0;
    for (std::size_t i = 0; i < std::min(bytes.size(), sizeof(number)); ++i) {
        number |= static_cast<uint32_t>(bytes[i]) << (8 * i);
    }
    return number;
}
