// Between the byte string of the library and Botan's numbers and vectors.
#pragma once

#include "tavrik/hex_binary.h"

#include <botan/bigint.h>

#include <cstdint>
#include <vector>

// The bytes; none for a null pointer or a value without bytes.
std::vector<uint8_t> ToVector(const HexBinary* bytes);

// The big-endian number that the bytes make.
Botan::BigInt ToBigInt(const HexBinary& bytes);

// New, big-endian, without leading zeros; the caller deletes it.
HexBinary* ToHexBinary(const Botan::BigInt& number);
