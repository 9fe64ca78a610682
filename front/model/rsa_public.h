// What is done with the public part of an RSA key, in software.
#pragma once

#include "front/model/objects.h"
#include "front/model/operations.h"

namespace front {

// Refuses data that a block of PKCS#1 v1.5 has no room for, with CKR_DATA_LEN_RANGE. Both lengths in bytes.
void RequireRoomInBlock(std::size_t dataLength, std::size_t modulusLength);

// In bytes. Refuses a key without a modulus with CKR_KEY_TYPE_INCONSISTENT.
std::size_t ModulusLength(const Object& key);

// By PKCS#1 v1.5, with `signedData` as what follows the padding. False also for a signature of another length
// than the modulus's.
bool SignatureMatches(const Object& key, const Bytes& signedData, Input signature);

// With padding from the system's random generator.
Bytes EncryptFor(const Object& key, Input message);

// Fills the buffer from the system's random generator. Refuses with CKR_DEVICE_ERROR when there is none.
void FillRandom(std::span<uint8_t> buffer);

} // namespace front
