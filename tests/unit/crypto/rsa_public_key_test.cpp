#include "src/crypto/rsa_public_key.h"

#include "src/botan/big_int_bytes.h"
#include "src/crypto/pkcs1.h"

#include <botan/auto_rng.h>
#include <botan/exceptn.h>
#include <botan/numthry.h>

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<uint8_t>;

const Bytes signedText{'m', 'e', 's', 's', 'a', 'g', 'e'};

struct Numbers
{
    Botan::BigInt n;
    Botan::BigInt e;
    Botan::BigInt d;

    [[nodiscard]] RsaPublicKey PublicKey() const { return {BigIntBytes(n), BigIntBytes(e)}; }

    [[nodiscard]] Bytes Sign(const Bytes& data) const
    {
        const Botan::BigInt block(pkcs1::SignatureBlock(data, n.bytes()));
        return BigIntBytes(power_mod(block, d, n), n.bytes());
    }
};

class RsaPublicKeyTest : public ::testing::Test
{
protected:
    Numbers NumbersOf(std::size_t bits, const Botan::BigInt& e = 65537)
    {
        const Botan::BigInt p = random_prime(random, bits / 2, e);
        const Botan::BigInt q = random_prime(random, bits - bits / 2, e);
        return {p * q, e, inverse_mod(e, (p - 1) * (q - 1))};
    }

    // Both verifiers, as a host sees them: that of Botan where there is one.
    static bool Verifies(const RsaPublicKey& key, const Bytes& data, const Bytes& signature)
    {
        if (key.OfBotan() != nullptr) {
            return Zelmo::Crypto::RsaVerifier(key.OfBotan(), "EMSA3(Raw)").Verify(data, signature);
        }
        return key.Verify(data, signature);
    }

    Botan::AutoSeeded_RNG random;
};

TEST_F(RsaPublicKeyTest, LeavesOrdinaryNumbersToBotan)
{
    for (const std::size_t bits : {1024U, 400U}) {
        const RsaPublicKey key = NumbersOf(bits).PublicKey();
        ASSERT_NE(key.OfBotan(), nullptr);
        EXPECT_NE(key.OfBotan()->GetBotanPublicKey(), nullptr);
    }
}

TEST_F(RsaPublicKeyTest, ComputesByItselfWithNumbersThatNewerBotansRefuse)
{
    EXPECT_EQ(NumbersOf(300).PublicKey().OfBotan(), nullptr);
    const Numbers numbers = NumbersOf(1024);
    const Numbers largeExponent{numbers.n, numbers.n + 2, 0};
    EXPECT_EQ(largeExponent.PublicKey().OfBotan(), nullptr);
    const Numbers longExponent{numbers.n, (Botan::BigInt(1) << 300U) + 1, 0};
    EXPECT_EQ(longExponent.PublicKey().OfBotan(), nullptr);
    const Numbers largeModulus{(Botan::BigInt(1) << 17000U) + 1, 3, 0};
    EXPECT_EQ(largeModulus.PublicKey().OfBotan(), nullptr);
}

TEST_F(RsaPublicKeyTest, EncryptsWithNumbersOfEachSize)
{
    for (const std::size_t bits : {60U, 88U, 300U, 400U, 1024U}) {
        const Numbers numbers = NumbersOf(bits);
        const RsaPublicKey key = numbers.PublicKey();
        const auto number = Botan::BigInt::random_integer(random, 2, numbers.n);
        const Bytes encrypted = key.Encrypt(BigIntBytes(number, numbers.n.bytes()));
        ASSERT_EQ(encrypted.size(), numbers.n.bytes()) << bits;
        EXPECT_EQ(Botan::BigInt(encrypted), power_mod(number, numbers.e, numbers.n)) << bits;
        EXPECT_EQ(key.Encrypt(BigIntBytes(number, numbers.n.bytes() + 3)), encrypted) << bits;
        EXPECT_THROW(static_cast<void>(key.Encrypt(BigIntBytes(numbers.n))), Botan::Exception) << bits;
    }
}

TEST_F(RsaPublicKeyTest, EncryptsWithAnExponentAboveTheModulus)
{
    const Numbers numbers = NumbersOf(512);
    const Numbers large{numbers.n, numbers.n + 2, 0};
    EXPECT_EQ(Botan::BigInt(large.PublicKey().Encrypt({7})), power_mod(7, large.e, large.n));
}

TEST_F(RsaPublicKeyTest, VerifiesWithNumbersOfEachSize)
{
    for (const std::size_t bits : {144U, 145U, 150U, 300U, 400U, 1024U}) {
        const Numbers numbers = NumbersOf(bits);
        const RsaPublicKey key = numbers.PublicKey();
        Bytes signature = numbers.Sign(signedText);
        EXPECT_TRUE(Verifies(key, signedText, signature)) << bits;
        EXPECT_FALSE(Verifies(key, {'o', 't', 'h', 'e', 'r'}, signature)) << bits;
        EXPECT_FALSE(Verifies(key, Bytes(numbers.n.bytes(), 1), signature)) << bits;
        EXPECT_FALSE(Verifies(key, signedText, BigIntBytes(numbers.n))) << bits;
        EXPECT_FALSE(Verifies(key, signedText, {})) << bits;
        signature.insert(signature.begin(), 0);
        EXPECT_TRUE(Verifies(key, signedText, signature)) << bits;
        signature.back() ^= 1;
        EXPECT_FALSE(Verifies(key, signedText, signature)) << bits;
    }
}

TEST_F(RsaPublicKeyTest, RefusesNumbersThatMakeNoKey)
{
    const Bytes modulus = BigIntBytes(NumbersOf(512).n);
    Bytes evenModulus = modulus;
    evenModulus.back() &= 0xFE;
    EXPECT_THROW(RsaPublicKey({}, {3}), Botan::Decoding_Error);
    EXPECT_THROW(RsaPublicKey({15}, {3}), Botan::Decoding_Error);
    EXPECT_NO_THROW(RsaPublicKey({33}, {3}));
    EXPECT_THROW(RsaPublicKey(evenModulus, {3}), Botan::Decoding_Error);
    EXPECT_THROW(RsaPublicKey(modulus, {}), Botan::Decoding_Error);
    EXPECT_THROW(RsaPublicKey(modulus, {1}), Botan::Decoding_Error);
    EXPECT_THROW(RsaPublicKey(modulus, {4}), Botan::Decoding_Error);
    EXPECT_NO_THROW(RsaPublicKey(modulus, {3}));
}

} // namespace
