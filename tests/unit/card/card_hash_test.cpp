#include "src/card/card_hash.h"

#include "tests/unit/log/log_capture.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

struct HashRow
{
    const char* label;
    const char* symbol;
    const char* name;
};

class CardHashes : public testing::TestWithParam<HashRow>
{
};

} // namespace

TEST_P(CardHashes, AreConstructedAndRunByTheCardLibrary)
{
    const auto hash = Zelmo::Crypto::MakeHash(GetParam().symbol);
    EXPECT_EQ(hash->name, GetParam().name);
    const unsigned char data[] = {'a', 0, 'c'};
    const std::string expected = std::string(GetParam().name) + std::string("a\0c", 3);
    const auto digest = hash->Hash(data, sizeof(data));
    EXPECT_EQ(std::string(digest.begin(), digest.end()), expected);
}
INSTANTIATE_TEST_SUITE_P(All, CardHashes,
                         testing::Values(HashRow{"Sha1", "_ZN5Zelmo6Crypto4SHA1C1Ev", "SHA-1"},
                                         HashRow{"Sha224", "_ZN5Zelmo6Crypto6SHA224C1Ev", "SHA-224"},
                                         HashRow{"Sha256", "_ZN5Zelmo6Crypto6SHA256C1Ev", "SHA-256"},
                                         HashRow{"Sha384", "_ZN5Zelmo6Crypto6SHA384C1Ev", "SHA-384"},
                                         HashRow{"Sha512", "_ZN5Zelmo6Crypto6SHA512C1Ev", "SHA-512"}),
                         [](const auto& row) { return row.param.label; });

TEST(CardHash, ConstructorSymbolsAreThoseOfTheClasses)
{
    using namespace Zelmo::Crypto;
    EXPECT_STREQ(sha1ConstructorSymbol, "_ZN5Zelmo6Crypto4SHA1C1Ev");
    EXPECT_STREQ(sha224ConstructorSymbol, "_ZN5Zelmo6Crypto6SHA224C1Ev");
    EXPECT_STREQ(sha256ConstructorSymbol, "_ZN5Zelmo6Crypto6SHA256C1Ev");
    EXPECT_STREQ(sha384ConstructorSymbol, "_ZN5Zelmo6Crypto6SHA384C1Ev");
    EXPECT_STREQ(sha512ConstructorSymbol, "_ZN5Zelmo6Crypto6SHA512C1Ev");
    EXPECT_STREQ(hashMethodSymbol, "_ZN5Zelmo6Crypto12HashFunction4HashEPKhm");
}

TEST(CardHash, HashesNoData)
{
    const auto hash = Zelmo::Crypto::MakeHash(Zelmo::Crypto::sha256ConstructorSymbol);
    const auto digest = hash->Hash(nullptr, 0);
    EXPECT_EQ(std::string(digest.begin(), digest.end()), "SHA-256");
}

TEST(CardHash, FailsForAClassThatTheCardLibraryLacks)
{
    LogCapture log;
    EXPECT_THROW(Zelmo::Crypto::MakeHash("_ZN5Zelmo6Crypto3MD5C1Ev"), std::runtime_error);
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, " ERR");
    EXPECT_EQ(lines[0].function, "CardAPI");
    EXPECT_NE(lines[0].message.find("_ZN5Zelmo6Crypto3MD5C1Ev"), std::string::npos);
}
