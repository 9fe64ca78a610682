// RSA keys that the tests make as they need them, each size once.
#pragma once

#include "tavrik/rsa.h"

#include <botan/rsa.h>

#include <string>

// A key of 1024 bits unless told otherwise; the same object for the same size.
Zelmo::Crypto::RSAPrivKey& TestRsaKey(int bits = 1024);

// Another one of 1024 bits.
Zelmo::Crypto::RSAPrivKey& OtherRsaKey();

// A new key, whose primes need not be of one length.
Botan::RSA_PrivateKey NewKeyOfPrimes(Botan::RandomNumberGenerator& random, std::size_t bitsOfP,
                                     std::size_t bitsOfQ);

// The bytes of a new value, which is deleted.
std::vector<uint8_t> TakeBytes(HexBinary* value);
HexBinary MakeHex(const std::vector<uint8_t>& bytes);
