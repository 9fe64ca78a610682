// What a card signs: the hash of a document, wrapped with the name of its algorithm.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// The DER DigestInfo of the file's hash. `hash` is "SHA-256", "SHA-384" or "SHA-512".
// Throws std::runtime_error when the file can't be read.
std::vector<uint8_t> DigestInfoOfFile(const std::filesystem::path& file, const std::string& hash);
