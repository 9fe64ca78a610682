// The blocks of PKCS#1 v1.5 that RSA computes with, and the DigestInfo that the block of a signature has.
#pragma once

#include <botan/secmem.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace pkcs1 {

// Bytes that a block has around its data, at least.
inline constexpr std::size_t leastFraming = 11;

// What stands in front of the hash in a DigestInfo, in DER. Nothing for a hash that is not SHA-1, SHA-224, SHA-256,
// SHA-384 or SHA-512, by these names.
std::optional<std::vector<uint8_t>> DigestInfoPrefix(const std::string& hash);

// The DigestInfo of what a hash function has given. Throws std::invalid_argument for a hash without a prefix.
std::vector<uint8_t> DigestInfo(const std::string& hash, std::span<const uint8_t> digest);

// The block, of so many bytes, of a signature over the data. Throws Botan::Encoding_Error for data that is longer than
// the block without leastFraming.
std::vector<uint8_t> SignatureBlock(std::span<const uint8_t> data, std::size_t length);

// The data of a block that somebody has encrypted; `validMask` becomes 0xFF, or 0 for what is no such block, which gives no
// data. What the block has does not show in the time that this takes, but for the length of the data.
Botan::secure_vector<uint8_t> OpenEncryptionBlock(uint8_t& validMask, std::span<const uint8_t> block);

} // namespace pkcs1
