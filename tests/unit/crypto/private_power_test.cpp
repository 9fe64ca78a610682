#include "src/crypto/private_power.h"

#include "src/botan/big_int_bytes.h"
#include "tests/unit/crypto/rsa_test_keys.h"

#include <botan/auto_rng.h>
#include <botan/numthry.h>

#include <gtest/gtest.h>

#include <utility>

namespace {

class PrivatePowerTest : public ::testing::Test
{
protected:
    Botan::RSA_PrivateKey KeyOf(std::size_t bitsOfP, std::size_t bitsOfQ)
    {
        return NewKeyOfPrimes(random, bitsOfP, bitsOfQ);
    }

    static Botan::BigInt Of(PrivatePower& power, const Botan::BigInt& number)
    {
        const auto result = power.Of(BigIntBytes(number));
        EXPECT_EQ(result.size(), power.Bytes());
        return {result.data(), result.size()};
    }

    Botan::AutoSeeded_RNG random;
};

TEST_F(PrivatePowerTest, IsThePowerByTheWholeExponent)
{
    const std::vector<std::pair<std::size_t, std::size_t>> bits{
        {512, 512}, {517, 510}, {384, 640}, {640, 384}};
    for (const auto& [p, q] : bits) {
        const Botan::RSA_PrivateKey key = KeyOf(p, q);
        PrivatePower power(key, random);
        const auto number = Botan::BigInt::random_integer(random, 2, key.get_n());
        EXPECT_EQ(Of(power, number), power_mod(number, key.get_d(), key.get_n())) << p << " " << q;
    }
}

// The numbers that hide those of a computation are used for 64 of them.
TEST_F(PrivatePowerTest, IsTheSameEachTime)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    PrivatePower power(key, random);
    const auto number = Botan::BigInt::random_integer(random, 2, key.get_n());
    const auto expected = power_mod(number, key.get_d(), key.get_n());
    for (int i = 0; i < 150; ++i) {
        ASSERT_EQ(Of(power, number), expected) << i;
    }
}

TEST_F(PrivatePowerTest, TakesTheNumbersAtTheEdges)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    PrivatePower power(key, random);
    const Botan::BigInt last = key.get_n() - 1;
    EXPECT_EQ(Of(power, 0), 0);
    EXPECT_EQ(Of(power, 1), 1);
    EXPECT_EQ(Of(power, key.get_p()), power_mod(key.get_p(), key.get_d(), key.get_n()));
    EXPECT_EQ(Of(power, key.get_q()), power_mod(key.get_q(), key.get_d(), key.get_n()));
    EXPECT_EQ(Of(power, last), last);
    EXPECT_THROW(Of(power, key.get_n()), Botan::Invalid_Argument);
}

TEST_F(PrivatePowerTest, TakesBytesWithZerosInFront)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    PrivatePower power(key, random);
    const auto expected = power_mod(5, key.get_d(), key.get_n());
    const auto result = power.Of(BigIntBytes(5, 200));
    EXPECT_EQ(Botan::BigInt(result.data(), result.size()), expected);
    EXPECT_EQ(Of(power, 5), expected);
}

TEST_F(PrivatePowerTest, DoesNotHandOutAWrongResult)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    const Botan::RSA_PrivateKey broken(key.get_p(), key.get_q(), key.get_e(), key.get_d() + 2);
    PrivatePower power(broken, random);
    EXPECT_THROW(Of(power, 2), Botan::Internal_Error);
}

} // namespace
