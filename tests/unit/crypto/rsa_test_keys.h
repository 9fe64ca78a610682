// RSA keys that the tests make as they need them, each size once.
#pragma once

#include "tavrik/rsa.h"

#include <string>

// A key of 1024 bits unless told otherwise; the same object for the same size.
Zelmo::Crypto::RSAPrivKey& TestRsaKey(int bits = 1024);

// Another one of 1024 bits.
Zelmo::Crypto::RSAPrivKey& OtherRsaKey();

// The bytes of a new value, which is deleted.
std::vector<uint8_t> TakeBytes(HexBinary* value);
HexBinary MakeHex(const std::vector<uint8_t>& bytes);
