// The block that is encrypted for a public key.
#pragma once

#include "tavrik/hex_binary.h"

#include <cstdint>
#include <memory>

// Makes the PKCS#1 v1.5 block of type 2 of the data, `*modulusLength` bytes long: 00 02, at least no zero
// among the random bytes, 00, the data. Null when the data don't fit.
//
// The random bytes come from the C library's generator, seeded with the time in seconds: two blocks of the
// same data made within a second are the same, and a reader of the clock can guess them.
std::unique_ptr<HexBinary> ApplyType2Padding(const int32_t* modulusLength, const HexBinary& data);
