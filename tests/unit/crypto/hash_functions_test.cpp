#include "tavrik/hash_functions.h"

#include "src/card/card_hash.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

using namespace Zelmo::Crypto;

namespace {

// The constructors are the card-access library's, found by name. An object of a hash class is its string and
// nothing else, so that one made there is one of the classes here.
template <typename Hash>
struct Symbol;
template <>
struct Symbol<SHA1>
{
    static constexpr const char* constructor = sha1ConstructorSymbol;
    static constexpr const char* name = "SHA-1";
};
template <>
struct Symbol<SHA224>
{
    static constexpr const char* constructor = sha224ConstructorSymbol;
    static constexpr const char* name = "SHA-224";
};
template <>
struct Symbol<SHA256>
{
    static constexpr const char* constructor = sha256ConstructorSymbol;
    static constexpr const char* name = "SHA-256";
};
template <>
struct Symbol<SHA384>
{
    static constexpr const char* constructor = sha384ConstructorSymbol;
    static constexpr const char* name = "SHA-384";
};
template <>
struct Symbol<SHA512>
{
    static constexpr const char* constructor = sha512ConstructorSymbol;
    static constexpr const char* name = "SHA-512";
};

template <typename Hash>
class HashClasses : public testing::Test
{
protected:
    HashClasses() : made(MakeHash(Symbol<Hash>::constructor)), hash(static_cast<Hash&>(*made)) {}

    std::unique_ptr<HashFunction> made;
    Hash& hash;
};

using AllHashes = testing::Types<SHA1, SHA224, SHA256, SHA384, SHA512>;
TYPED_TEST_SUITE(HashClasses, AllHashes);

std::string TextOf(HashFunction& hash)
{
    const unsigned char data[] = {'x'};
    const auto digest = hash.Hash(data, sizeof(data));
    return {digest.begin(), digest.end()};
}

} // namespace

TYPED_TEST(HashClasses, AreOneStringWide)
{
    EXPECT_EQ(sizeof(TypeParam), sizeof(std::string));
    EXPECT_EQ(alignof(TypeParam), alignof(std::string));
    EXPECT_FALSE(std::is_polymorphic_v<TypeParam>);
    EXPECT_EQ(static_cast<void*>(&this->hash), static_cast<void*>(&this->hash.name));
}

TYPED_TEST(HashClasses, CopyHashesLikeItsSource)
{
    TypeParam copy(this->hash);
    EXPECT_EQ(copy.name, Symbol<TypeParam>::name);
    EXPECT_EQ(TextOf(copy), TextOf(this->hash));
}

TYPED_TEST(HashClasses, CopyOutlivesItsSource)
{
    TypeParam copy(this->hash);
    this->made = nullptr;
    EXPECT_EQ(TextOf(copy), std::string(Symbol<TypeParam>::name) + "x");
}

TYPED_TEST(HashClasses, MovedObjectHasTheName)
{
    TypeParam moved(std::move(this->hash));
    EXPECT_EQ(moved.name, Symbol<TypeParam>::name);
    EXPECT_EQ(TextOf(moved), std::string(Symbol<TypeParam>::name) + "x");
}

TYPED_TEST(HashClasses, CopyAssignmentTakesTheName)
{
    TypeParam other(this->hash);
    other.name = "another";
    other = this->hash;
    EXPECT_EQ(other.name, Symbol<TypeParam>::name);
    EXPECT_EQ(this->hash.name, Symbol<TypeParam>::name);
}

TYPED_TEST(HashClasses, MoveAssignmentTakesTheName)
{
    TypeParam other(this->hash);
    other.name = "a name too long to lie within the string object itself";
    TypeParam target(this->hash);
    target = std::move(other);
    EXPECT_EQ(target.name, "a name too long to lie within the string object itself");
}

TYPED_TEST(HashClasses, AssignedToItselfKeepsTheName)
{
    TypeParam& same = this->hash;
    this->hash = same;
    EXPECT_EQ(this->hash.name, Symbol<TypeParam>::name);
}

TYPED_TEST(HashClasses, BaseIsCopiedAndMovedAlike)
{
    HashFunction copy(*this->made);
    EXPECT_EQ(TextOf(copy), TextOf(this->hash));
    HashFunction moved(std::move(copy));
    EXPECT_EQ(TextOf(moved), TextOf(this->hash));
    copy = moved;
    EXPECT_EQ(copy.name, moved.name);
    copy = std::move(moved);
    EXPECT_EQ(copy.name, Symbol<TypeParam>::name);
}
