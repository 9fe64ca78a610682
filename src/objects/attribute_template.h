// Builds the run of records that gives an object its attributes.
#pragma once

#include "tavrik/cryptoki.h"
#include "tavrik/hex_binary.h"

#include <deque>
#include <string>
#include <string_view>
#include <vector>

// Keeps a copy of every value, so that the records stay good as long as this object lives.
class AttributeTemplate
{
public:
    // A boolean is one byte, a number four.
    AttributeTemplate& AddBoolean(CK_ATTRIBUTE_TYPE type, bool value);
    AttributeTemplate& AddNumber(CK_ATTRIBUTE_TYPE type, CK_ULONG value);
    AttributeTemplate& AddText(CK_ATTRIBUTE_TYPE type, std::string_view text);
    AttributeTemplate& AddBytes(CK_ATTRIBUTE_TYPE type, const uint8_t* data, std::size_t length);
    AttributeTemplate& AddBytes(CK_ATTRIBUTE_TYPE type, const std::vector<uint8_t>& bytes);
    AttributeTemplate& AddBytes(CK_ATTRIBUTE_TYPE type, const HexBinary& bytes);

    [[nodiscard]] const CK_ATTRIBUTE* Records() const { return records.data(); }
    [[nodiscard]] CK_ULONG Count() const { return static_cast<CK_ULONG>(records.size()); }

private:
    std::vector<CK_ATTRIBUTE> records;
    std::deque<std::string> values; // a deque, because its elements never move
};
