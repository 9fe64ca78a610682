// Hash objects of the card-access library.
#pragma once

#include "tavrik/hash_functions.h"

#include <cstdint>
#include <memory>
#include <type_traits>

namespace Zelmo::Crypto {

// The symbols of the constructors and of the operation, as GCC and Clang mangle them.
inline constexpr char sha1ConstructorSymbol[] = "_ZN5Zelmo6Crypto4SHA1C1Ev";
inline constexpr char sha224ConstructorSymbol[] = "_ZN5Zelmo6Crypto6SHA224C1Ev";
inline constexpr char sha256ConstructorSymbol[] = "_ZN5Zelmo6Crypto6SHA256C1Ev";
inline constexpr char sha384ConstructorSymbol[] = "_ZN5Zelmo6Crypto6SHA384C1Ev";
inline constexpr char sha512ConstructorSymbol[] = "_ZN5Zelmo6Crypto6SHA512C1Ev";
// The length, uint64_t, is one type or another on different systems, and has another letter.
inline constexpr const char* hashMethodSymbol = std::is_same_v<uint64_t, unsigned long>
                                                    ? "_ZN5Zelmo6Crypto12HashFunction4HashEPKhm"
                                                    : "_ZN5Zelmo6Crypto12HashFunction4HashEPKhy";

// A new hash object, made by that constructor of the card-access library and bound like its functions. Throws
// std::runtime_error when it lacks the constructor.
std::unique_ptr<HashFunction> MakeHash(const char* constructorSymbol);

} // namespace Zelmo::Crypto
