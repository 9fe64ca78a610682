#include "softcard/cardapi/hash_classes.h"
#include "tests/softcard/card_library.h"

#include <botan/hex.h>
#include <gtest/gtest.h>

#include <new>
#include <ostream>
#include <string>

using softcard::test::FindFunction;
using Zelmo::Crypto::HashFunction;

namespace {

struct KnownAnswer
{
    const char* constructor;
    std::string ofAbc;
    std::string ofNothing;
};

// The name that a test is listed by.
void PrintTo(const KnownAnswer& answer, std::ostream* stream)
{
    *stream << answer.constructor;
}

// Constructs and calls through the symbols, as a program that was built apart from the library does.
std::string Hash(const char* constructor, const std::string& text)
{
    alignas(HashFunction) unsigned char storage[sizeof(HashFunction)];
    FindFunction<void(void*)>(constructor)(storage);
    auto* function = std::launder(reinterpret_cast<HashFunction*>(storage));
    auto* hash =
        FindFunction<std::vector<unsigned char>(HashFunction*, const unsigned char*, uint64_t)>(HASH_METHOD);
    const auto* data = text.empty() ? nullptr : reinterpret_cast<const unsigned char*>(text.data());
    std::string result = Botan::hex_encode(hash(function, data, text.size()), false);
    function->~HashFunction();
    return result;
}

class Hashes : public testing::TestWithParam<KnownAnswer>
{
};

TEST_P(Hashes, GiveTheKnownAnswers)
{
    EXPECT_EQ(Hash(GetParam().constructor, "abc"), GetParam().ofAbc);
    EXPECT_EQ(Hash(GetParam().constructor, ""), GetParam().ofNothing);
}

TEST(HashObject, IsOneString)
{
    EXPECT_EQ(sizeof(HashFunction), sizeof(std::string));
    EXPECT_EQ(sizeof(Zelmo::Crypto::SHA512), sizeof(std::string));
}

INSTANTIATE_TEST_SUITE_P(
    All, Hashes,
    testing::Values(KnownAnswer{"_ZN5Zelmo6Crypto4SHA1C1Ev", "a9993e364706816aba3e25717850c26c9cd0d89d",
                                "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
                    KnownAnswer{"_ZN5Zelmo6Crypto6SHA224C1Ev",
                                "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7",
                                "d14a028c2a3a2bc9476102bb288234c415a2b01f828ea62ac5b3e42f"},
                    KnownAnswer{"_ZN5Zelmo6Crypto6SHA256C1Ev",
                                "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
                                "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
                    KnownAnswer{"_ZN5Zelmo6Crypto6SHA384C2Ev",
                                "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7"
                                "cc2358baeca134c825a7",
                                "38b060a751ac96384cd9327eb1b1e36a21fdb71114be07434c0cc7bf63f6e1da274edebfe76f"
                                "65fbd51ad2f14898b95b"},
                    KnownAnswer{"_ZN5Zelmo6Crypto6SHA512C1Ev",
                                "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
                                "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f",
                                "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
                                "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e"}));

} // namespace
