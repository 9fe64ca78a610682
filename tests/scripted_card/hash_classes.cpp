// The hash classes of the card-access library. An object is its name and nothing else.
#include "scripted_card_core.h"

namespace Zelmo::Crypto {

class HashFunction
{
public:
    std::string name;
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

// Not const, because the name that it is bound by is that of a non-const member.
// NOLINTNEXTLINE(readability-make-member-function-const)
std::vector<unsigned char> HashFunction::Hash(const unsigned char* data, uint64_t length)
{
    return Scripted::Core::Instance().Hash(name, Scripted::Bytes(data, data + length));
}

SHA1::SHA1() : HashFunction{"SHA-1"} {}
SHA224::SHA224() : HashFunction{"SHA-224"} {}
SHA256::SHA256() : HashFunction{"SHA-256"} {}
SHA384::SHA384() : HashFunction{"SHA-384"} {}
SHA512::SHA512() : HashFunction{"SHA-512"} {}

} // namespace Zelmo::Crypto
