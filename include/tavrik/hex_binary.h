// The byte string of the library and of its RSA classes.
#pragma once

#include <botan/secmem.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Thrown by the constructor of HexBinary from hexadecimal digits.
struct Pkcs11Exception
{
    uint32_t code;
    std::string message;
};

// A block of the heap with its length in bytes. Users read both members directly. There are three kinds of value:
//   data null, length 0      empty
//   data null, length -1     not available
//   data set, length >= 0    the bytes; a block of no bytes has a non-null data and counts as empty too
class HexBinary
{
public:
    // A block of `count` bytes, not initialised: the caller fills them. `count` is 0 or more. Throws
    // std::bad_array_new_length for a negative one, and std::bad_alloc, as everything here that makes a block.
    explicit HexBinary(int32_t count);

    // With `copy`, a copy of the `count` bytes at `bytes`, which may be null when `count` is 0. Without, takes
    // over `bytes` itself, which must come from new[] or be null, and any `count`; this is also how the empty and
    // the unavailable value are made.
    HexBinary(const uint8_t* bytes, int32_t count, bool copy);

    // The bytes that pairs of hexadecimal digits, in either case, stand for. Throws Pkcs11Exception with code 508
    // for an odd length or a character that is no digit.
    explicit HexBinary(std::string hex);

    HexBinary(const HexBinary&) = delete;
    HexBinary& operator=(const HexBinary&) = delete;
    virtual ~HexBinary();

    // Two uppercase digits for each byte; empty when there are no bytes.
    [[nodiscard]] std::string ToHexString() const;

    // Appends the bytes of `other`, which may be this object. Null does nothing. Afterwards there is a block, even
    // one of no bytes.
    void Append(const HexBinary* other);

    // Replaces the content of `vector` by the bytes; its capacity is kept.
    void ToByteVector(std::vector<uint8_t>& vector) const;
    void ToByteVector(Botan::secure_vector<uint8_t>& vector) const;

    // A new HexBinary with the vector's bytes, which the caller deletes. The vector is left without bytes or storage.
    static HexBinary* FromByteVector(std::vector<uint8_t>& vector);

    // Compares the hexadecimal texts of both, neither of which may be null: negative when the first is less, 0 when
    // they are equal, positive when it is greater. The empty and the unavailable value are equal.
    static int32_t Compare(const HexBinary* first, const HexBinary* second);

    uint8_t* data;
    int32_t length;
};
