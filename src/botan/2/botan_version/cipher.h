// Directions of a cipher.
#pragma once

#include <botan/cipher_mode.h>

inline constexpr auto decryptionDirection = Botan::DECRYPTION;
