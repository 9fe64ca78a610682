// How a function gives a result to its caller.
#pragma once

#include "tavrik/cryptoki.h"
#include "tavrik/hex_binary.h"

#include <algorithm>
#include <memory>

// Copies `length` bytes and writes their number. The size of the caller's buffer is not looked at: the caller is
// expected to have asked for the length before.
inline void HandOut(const HexBinary& result, uint32_t length, CK_BYTE_PTR output, CK_ULONG_PTR outputLength)
{
    std::copy_n(result.data, length, output);
    *outputLength = length;
}

// Answers a call that asks for the length of a result. When the manager's GetLength fails, its result is returned and
// nothing is written.
template <typename Manager>
CK_RV TellLength(const Manager& manager, CK_ULONG_PTR outputLength)
{
    uint32_t length = 0;
    const CK_RV result = manager.GetLength(length);
    if (result == CKR_OK) {
        *outputLength = length;
    }
    return result;
}

// A result of the length that the manager gives, all zero.
template <typename Manager>
std::unique_ptr<HexBinary> MakeOutput(const Manager& manager)
{
    uint32_t length = 0;
    static_cast<void>(manager.GetLength(length)); // a failure gives a result without bytes
    auto output = std::make_unique<HexBinary>(static_cast<int32_t>(length));
    std::fill_n(output->data, length, uint8_t{0});
    return output;
}
