// Attributes of a key as the values that operations need.
#pragma once

#include "src/objects/pkcs_object.h"

#include <cstdint>
#include <optional>
#include <vector>

inline constexpr uint32_t bitsPerByte = 8;

// The bytes of the attribute; none when the key gives no value.
std::vector<uint8_t> ReadBytes(const PkcsObject& key, CK_ATTRIBUTE_TYPE type);

// Whether the first byte of the attribute is 1; nothing when the key gives no value.
std::optional<bool> ReadFlag(const PkcsObject& key, CK_ATTRIBUTE_TYPE type);

// The number made of the first four bytes, or as many as there are, least significant first; nothing when the
// key gives no value.
std::optional<uint32_t> ReadNumber(const PkcsObject& key, CK_ATTRIBUTE_TYPE type);
