// The byte string of the library and of its RSA classes.
#pragma once

#include <botan/secmem.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Raised by the hex constructor of HexBinary, by value.
struct Pkcs11Exception
{
    uint32_t code;
    std::string message;
};

// A heap block with a length, which users read directly. Three states are values in their own right:
//   data null, length 0      empty
//   data null, length -1     not available
//   data set, length >= 0    the bytes; a block of no bytes has a non-null data and counts as empty too
class HexBinary
{
public:
    // A block of `count` bytes, not initialised: the caller fills them.
    explicit HexBinary(int32_t count);

    // With `copy`, a copy of `count` bytes. Without, takes over `bytes` itself, which must come from new[] or
    // be null; this is also how the empty and the unavailable value are made.
    HexBinary(const uint8_t* bytes, int32_t count, bool copy);

    // The bytes that pairs of hexadecimal digits, in either case, stand for.
    // Throws Pkcs11Exception with code 508 for an odd length or a character that is no digit.
    explicit HexBinary(std::string hex);

    HexBinary(const HexBinary&) = delete;
    HexBinary& operator=(const HexBinary&) = delete;
    virtual ~HexBinary();

    // Two uppercase digits for each byte; empty when there are no bytes.
    [[nodiscard]] std::string ToHexString() const;

    // Puts the bytes of `other` behind the own ones. Null does nothing.
    void Append(const HexBinary* other);

    // Replaces the content of `vector` by the bytes; its capacity is kept.
    void ToByteVector(std::vector<uint8_t>& vector) const;
    void ToByteVector(Botan::secure_vector<uint8_t>& vector) const;

    // A new HexBinary with the vector's bytes; the vector is left without bytes or storage.
    static HexBinary* FromByteVector(std::vector<uint8_t>& vector);

    // Compares the hexadecimal texts of both: below, at or above 0 as the first is less, equal or greater.
    // The empty and the unavailable value are equal.
    static int32_t Compare(const HexBinary* first, const HexBinary* second);

    uint8_t* data;
    int32_t length;
};
