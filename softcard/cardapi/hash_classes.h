// The hash classes that the card-access library lends to its user. Their layout and their symbols are part of
// the boundary.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Zelmo::Crypto {

class HashFunction
{
public:
    std::string name; // of the algorithm

    // The hash of `length` bytes. Throws std::exception for an object whose name is no algorithm's.
    std::vector<unsigned char> Hash(const unsigned char* data, uint64_t length);
};

class SHA1 : public HashFunction
{
public:
    SHA1();
};

class SHA224 : public HashFunction
{
public:
    SHA224();
};

class SHA256 : public HashFunction
{
public:
    SHA256();
};

class SHA384 : public HashFunction
{
public:
    SHA384();
};

class SHA512 : public HashFunction
{
public:
    SHA512();
};

} // namespace Zelmo::Crypto
