// Data with a signature, and the RSA key to check it with.
#pragma once

#include <cstdint>
#include <vector>

namespace bench {

using Bytes = std::vector<uint8_t>;

struct SignedData
{
    Bytes modulus;
    Bytes exponent;
    Bytes data; // a DigestInfo of SHA-256
    Bytes signature;
};

} // namespace bench
