#include "softcard/cardapi/system/private_power.h"

#include "src/botan/big_int_bytes.h"

#include <botan/auto_rng.h>
#include <botan/exceptn.h>
#include <botan/numthry.h>

#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using softcard::PrivatePower;

class PrivatePowerTest : public ::testing::Test
{
protected:
    // The primes need not be of one length.
    Botan::RSA_PrivateKey KeyOf(size_t bitsOfP, size_t bitsOfQ)
    {
        const Botan::BigInt e = 65537;
        return {random_prime(random, bitsOfP, e), random_prime(random, bitsOfQ, e), e};
    }

    static Botan::BigInt Of(const PrivatePower& power, const Botan::BigInt& number)
    {
        const auto result = power.Of(BigIntBytes(number, power.Bytes()));
        EXPECT_EQ(result.size(), power.Bytes());
        return Botan::BigInt(result);
    }

    static void ExpectWrong(const Botan::RSA_PrivateKey& key)
    {
        const PrivatePower power(key);
        EXPECT_THROW(static_cast<void>(Of(power, 2)), Botan::Internal_Error);
    }

    Botan::AutoSeeded_RNG random;
};

TEST_F(PrivatePowerTest, IsWhatTheDefinitionSays)
{
    constexpr std::array<std::array<size_t, 2>, 6> bits{
        {{512, 512}, {517, 510}, {384, 640}, {640, 384}, {1024, 1024}, {1536, 1536}}};
    for (const auto& [p, q] : bits) {
        const Botan::RSA_PrivateKey key = KeyOf(p, q);
        const PrivatePower power(key);
        EXPECT_EQ(power.Bits(), key.get_n().bits());
        const Botan::BigInt last = key.get_n() - 1;
        for (const Botan::BigInt& number : {Botan::BigInt(0), Botan::BigInt(1), last, key.get_p(),
                                            key.get_q(), Botan::BigInt::random_integer(random, 2, last)}) {
            EXPECT_EQ(Of(power, number), power_mod(number, key.get_d(), key.get_n())) << p << " " << q;
        }
    }
}

TEST_F(PrivatePowerTest, TakesNumbersOfAnyLengthBelowTheModulus)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    const PrivatePower power(key);
    EXPECT_EQ(Botan::BigInt(power.Of({})), 0);
    const std::vector<uint8_t> shortOne{2};
    EXPECT_EQ(Botan::BigInt(power.Of(shortOne)), Of(power, 2));
    EXPECT_THROW(static_cast<void>(Of(power, key.get_n())), Botan::Invalid_Argument);
    EXPECT_THROW(static_cast<void>(power.Of(std::vector<uint8_t>(power.Bytes() + 1, 1))),
                 Botan::Invalid_Argument);
}

// More often than one blinding is used, on several threads that need one each.
TEST_F(PrivatePowerTest, IsTheSameManyTimesOnManyThreads)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    const PrivatePower power(key);
    const Botan::BigInt expected = power_mod(Botan::BigInt(7), key.get_d(), key.get_n());
    std::array<std::thread, 12> threads;
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            for (int turn = 0; turn < 100; ++turn) {
                EXPECT_EQ(Of(power, 7), expected);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(PrivatePowerTest, IsNotHandedOutWhenItIsWrong)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    const auto& [p, q, e, d] = std::tuple(key.get_p(), key.get_q(), key.get_e(), key.get_d());
    ExpectWrong({p, q, e, d + 2});
    ExpectWrong({p + 2, q, e, d}); // Botan takes no key whose modulus is not the product
    ExpectWrong({p, q - 2, e, d});
}

} // namespace
