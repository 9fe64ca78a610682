// One attribute of a Cryptoki object: a type number and its own copy of some bytes.
#pragma once

#include "tavrik/cryptoki.h"
#include "tavrik/hex_binary.h"

#include <memory>
#include <vector>

struct PkcsAttribute
{
    // With an empty value.
    explicit PkcsAttribute(CK_ATTRIBUTE_TYPE ownType);

    // With a copy of the bytes of `source`, or the empty value when it is null.
    PkcsAttribute(CK_ATTRIBUTE_TYPE ownType, const HexBinary* source);

    // Whether there is at least one byte; false for the empty and for the unavailable value.
    [[nodiscard]] bool HasValue() const;

    // A copy of the bytes; none when there is no value.
    [[nodiscard]] std::vector<uint8_t> GetBytes() const;

    CK_ATTRIBUTE_TYPE type;
    std::unique_ptr<HexBinary> value; // never shared between attributes
};

using PkcsAttributes = std::vector<std::unique_ptr<PkcsAttribute>>;

// The two values without bytes. The length of the unavailable one reads as CK_UNAVAILABLE_INFORMATION.
std::unique_ptr<HexBinary> MakeEmptyValue();
std::unique_ptr<HexBinary> MakeUnavailableValue();

// A copy of the value that a record points to. A null pointer gives the empty value, whatever the length
// says.
std::unique_ptr<HexBinary> CopyValue(const CK_ATTRIBUTE& attribute);
