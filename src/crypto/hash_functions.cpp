// What the library itself adds to the hash classes: out of line, so that they are exported.
#include "tavrik/hash_functions.h"

namespace Zelmo::Crypto {

HashFunction::HashFunction(const HashFunction& other) = default;
HashFunction::HashFunction(HashFunction&& other) noexcept = default;
HashFunction::~HashFunction() = default;
HashFunction& HashFunction::operator=(const HashFunction& other) = default;
HashFunction& HashFunction::operator=(HashFunction&& other) noexcept = default;

SHA1::SHA1(const SHA1& other) = default;
SHA1::SHA1(SHA1&& other) noexcept = default;
SHA1::~SHA1() = default;
SHA1& SHA1::operator=(const SHA1& other) = default;
SHA1& SHA1::operator=(SHA1&& other) noexcept = default;

SHA224::SHA224(const SHA224& other) = default;
SHA224::SHA224(SHA224&& other) noexcept = default;
SHA224::~SHA224() = default;
SHA224& SHA224::operator=(const SHA224& other) = default;
SHA224& SHA224::operator=(SHA224&& other) noexcept = default;

SHA256::SHA256(const SHA256& other) = default;
SHA256::SHA256(SHA256&& other) noexcept = default;
SHA256::~SHA256() = default;
SHA256& SHA256::operator=(const SHA256& other) = default;
SHA256& SHA256::operator=(SHA256&& other) noexcept = default;

SHA384::SHA384(const SHA384& other) = default;
SHA384::SHA384(SHA384&& other) noexcept = default;
SHA384::~SHA384() = default;
SHA384& SHA384::operator=(const SHA384& other) = default;
SHA384& SHA384::operator=(SHA384&& other) noexcept = default;

SHA512::SHA512(const SHA512& other) = default;
SHA512::SHA512(SHA512&& other) noexcept = default;
SHA512::~SHA512() = default;
SHA512& SHA512::operator=(const SHA512& other) = default;
SHA512& SHA512::operator=(SHA512&& other) noexcept = default;

} // namespace Zelmo::Crypto
