// The hash classes. The library exports what holds, copies and moves such objects. Their default constructors and
// HashFunction::Hash come from the card-access library, CardAPI; a program that calls them links it too.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Zelmo::Crypto {

class HashFunction
{
public:
    HashFunction(const HashFunction& other);
    HashFunction(HashFunction&& other) noexcept;
    ~HashFunction();
    HashFunction& operator=(const HashFunction& other);
    HashFunction& operator=(HashFunction&& other) noexcept;

    // The digest of the `length` bytes at `data` by this object's algorithm. From the card-access library, which says
    // what it throws.
    std::vector<unsigned char> Hash(const unsigned char* data, uint64_t length);

    std::string name; // of the algorithm, as the card-access library spells it

protected:
    HashFunction() = default;
};

// Each adds nothing but its default constructor, which the card-access library supplies.
class SHA1 : public HashFunction
{
public:
    SHA1();
    SHA1(const SHA1& other);
    SHA1(SHA1&& other) noexcept;
    ~SHA1();
    SHA1& operator=(const SHA1& other);
    SHA1& operator=(SHA1&& other) noexcept;
};

class SHA224 : public HashFunction
{
public:
    SHA224();
    SHA224(const SHA224& other);
    SHA224(SHA224&& other) noexcept;
    ~SHA224();
    SHA224& operator=(const SHA224& other);
    SHA224& operator=(SHA224&& other) noexcept;
};

class SHA256 : public HashFunction
{
public:
    SHA256();
    SHA256(const SHA256& other);
    SHA256(SHA256&& other) noexcept;
    ~SHA256();
    SHA256& operator=(const SHA256& other);
    SHA256& operator=(SHA256&& other) noexcept;
};

class SHA384 : public HashFunction
{
public:
    SHA384();
    SHA384(const SHA384& other);
    SHA384(SHA384&& other) noexcept;
    ~SHA384();
    SHA384& operator=(const SHA384& other);
    SHA384& operator=(SHA384&& other) noexcept;
};

class SHA512 : public HashFunction
{
public:
    SHA512();
    SHA512(const SHA512& other);
    SHA512(SHA512&& other) noexcept;
    ~SHA512();
    SHA512& operator=(const SHA512& other);
    SHA512& operator=(SHA512&& other) noexcept;
};

} // namespace Zelmo::Crypto
