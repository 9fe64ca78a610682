#include "src/objects/attribute_template.h"

AttributeTemplate& AttributeTemplate::AddBoolean(CK_ATTRIBUTE_TYPE type, bool value)
{
    const CK_BBOOL byte = value ? CK_TRUE : CK_FALSE;
    return AddBytes(type, &byte, sizeof(byte));
}

AttributeTemplate& AttributeTemplate::AddNumber(CK_ATTRIBUTE_TYPE type, CK_ULONG value)
{
    return AddBytes(type, reinterpret_cast<const uint8_t*>(&value), sizeof(value));
}

AttributeTemplate& AttributeTemplate::AddText(CK_ATTRIBUTE_TYPE type, std::string_view text)
{
    return AddBytes(type, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

AttributeTemplate& AttributeTemplate::AddBytes(CK_ATTRIBUTE_TYPE type, const uint8_t* data,
                                               std::size_t length)
{
    auto& value = values.emplace_back(data, data + length);
    records.push_back(CK_ATTRIBUTE{type, value.data(), static_cast<CK_ULONG>(length)});
    return *this;
}

AttributeTemplate& AttributeTemplate::AddBytes(CK_ATTRIBUTE_TYPE type, const std::vector<uint8_t>& bytes)
{
    return AddBytes(type, bytes.data(), bytes.size());
}

AttributeTemplate& AttributeTemplate::AddBytes(CK_ATTRIBUTE_TYPE type, const HexBinary& bytes)
{
    return AddBytes(type, bytes.data, static_cast<std::size_t>(bytes.length));
}
