#include "src/crypto/byte_conversion.h"

#include "src/botan/big_int_bytes.h"

std::vector<uint8_t> ToVector(const HexBinary* bytes)
{
    std::vector<uint8_t> vector;
    if (bytes != nullptr) {
        bytes->ToByteVector(vector);
    }
    return vector;
}

Botan::BigInt ToBigInt(const HexBinary& bytes)
{
    return Botan::BigInt(ToVector(&bytes));
}

HexBinary* ToHexBinary(const Botan::BigInt& number)
{
    std::vector<uint8_t> encoded = BigIntBytes(number);
    return HexBinary::FromByteVector(encoded);
}
