// Handing a result to the caller.
#pragma once

#include "tavrik/cryptoki.h"
#include "tavrik/hex_binary.h"

#include <algorithm>
#include <memory>

// Copies `length` bytes and tells their number. The caller has asked for the size before: its own is not
// looked at.
inline void HandOut(const HexBinary& result, uint32_t length, CK_BYTE_PTR output, CK_ULONG_PTR outputLength)
{
    std::copy_n(result.data, length, output);
    *outputLength = length;
}

// Answers a question for the length of a result. `manager` is one that can tell it; its failure is passed on,
// and nothing is written then.
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
