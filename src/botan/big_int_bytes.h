// The bytes of Botan's numbers.
#pragma once

#include <botan/bigint.h>

#include <cstddef>
#include <cstdint>
#include <vector>

// Big-endian, in so many bytes: with zeros in front, or without the highest bytes of a number that has more. For a secret
// number the vector is one of Botan's secure_vector.
template <typename Vector = std::vector<uint8_t>>
Vector BigIntBytes(const Botan::BigInt& number, std::size_t length)
{
    Vector bytes(length);
    for (std::size_t i = 0; i < length; ++i) {
        bytes[length - 1 - i] = number.byte_at(i);
    }
    return bytes;
}

// As many as the number has; none for zero.
template <typename Vector = std::vector<uint8_t>>
Vector BigIntBytes(const Botan::BigInt& number)
{
    return BigIntBytes<Vector>(number, number.bytes());
}
