// Attributes as the front keeps them: each value in the form that applications read.
#pragma once

#include "front/abi/cryptoki.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace front {

using Bytes = std::vector<uint8_t>;
using Attributes = std::map<CK_ATTRIBUTE_TYPE, Bytes>;
using Template = std::vector<std::pair<CK_ATTRIBUTE_TYPE, Bytes>>; // in order, with repetitions

inline constexpr unsigned bitsPerByte = 8;

// Values beyond this length, in bytes, are in no object; the certificates of a card end at 4096.
inline constexpr CK_ULONG longestValue = 1UL << 20U;

// No template has more records than this. A larger count is a mistake, for instance one whose upper half is not set.
inline constexpr CK_ULONG longestTemplate = 4096;

// Refuses with CKR_ARGUMENTS_BAD a null template with a count, and too high a count.
void CheckTemplate(const CK_ATTRIBUTE* records, CK_ULONG count);

enum class AttributeKind
{
    boolean,
    number,
    numbers, // an array
    bytes
};
AttributeKind KindOf(CK_ATTRIBUTE_TYPE type);

// A value of the library in the form that applications read: numbers in eight bytes, a serial number in DER. A number that
// is not four bytes wide is not changed.
Bytes WidenValue(CK_ATTRIBUTE_TYPE type, Bytes value);

// A whole number of at least 0 as a DER INTEGER. `magnitude` has its most significant byte first.
Bytes DerInteger(std::span<const uint8_t> magnitude);

Bytes NumberValue(CK_ULONG number);
Bytes BooleanValue(bool flag);
bool IsTrue(const Bytes& value); // of a boolean
Bytes TextValue(const char* text);

// Empty when the attribute is missing.
std::span<const uint8_t> ValueOf(const Attributes& attributes, CK_ATTRIBUTE_TYPE type);
// None when the attribute is missing or of another width.
std::optional<CK_ULONG> NumberOf(const Attributes& attributes, CK_ATTRIBUTE_TYPE type);
// False when the attribute is missing.
bool FlagOf(const Attributes& attributes, CK_ATTRIBUTE_TYPE type);

bool IsOfClass(const Attributes& attributes, CK_OBJECT_CLASS objectClass);

// Whether the attributes have all that the template asks for. Booleans are compared as booleans, all else
// byte by byte.
bool Match(const Attributes& attributes, const Template& wanted);

// A template as it came in. Refuses with CKR_ARGUMENTS_BAD what CheckTemplate does, and a null value with a
// length; with CKR_ATTRIBUTE_VALUE_INVALID a boolean or number of a wrong width.
Template ReadTemplate(const CK_ATTRIBUTE* records, CK_ULONG count);

} // namespace front
