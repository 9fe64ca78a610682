#include "tests/unit/crypto/rsa_test_keys.h"

#include "src/botan/big_int_bytes.h"
#include "src/crypto/byte_conversion.h"

#include <botan/rsa.h>
#include <gtest/gtest.h>

#include <memory>

using namespace Zelmo::Crypto;

namespace {

using Bytes = std::vector<uint8_t>;

const Bytes exponent{1, 0, 1};

Bytes ModulusOf(const RSAPubKey& key)
{
    return TakeBytes(key.Get_N());
}

Bytes Modulus()
{
    return ModulusOf(*TestRsaKey().GetPublicKey());
}

} // namespace

TEST(RsaPublicKey, OfTheDefaultConstructorHasNoBotanKey)
{
    const RSAPubKey key;
    EXPECT_EQ(key.GetBotanPublicKey(), nullptr);
}

TEST(RsaPublicKey, OfModulusAndExponentGivesThemBack)
{
    const RSAPubKey key(Modulus(), exponent);
    EXPECT_EQ(ModulusOf(key), Modulus());
    EXPECT_EQ(TakeBytes(key.Get_E()), exponent);
    EXPECT_EQ(key.GetBotanPublicKey()->get_n().bits(), 1024U);
}

TEST(RsaPublicKey, LeadingZerosAreDropped)
{
    Bytes modulus = Modulus();
    modulus.insert(modulus.begin(), 3, 0);
    const RSAPubKey key(modulus, {0, 0, 1, 0, 1});
    EXPECT_EQ(ModulusOf(key), Modulus());
    EXPECT_EQ(TakeBytes(key.Get_E()), exponent);
}

TEST(RsaPublicKey, OfASubjectPublicKeyInfoIsTheSameKey)
{
    const Botan::RSA_PublicKey& source = *TestRsaKey().GetPublicKey()->GetBotanPublicKey();
    const Botan::AlgorithmIdentifier algorithm = source.algorithm_identifier();
    const RSAPubKey key(&algorithm, source.public_key_bits());
    EXPECT_EQ(ModulusOf(key), Modulus());
    EXPECT_EQ(TakeBytes(key.Get_E()), exponent);
}

TEST(RsaPublicKey, OfBadPartsIsRefusedByBotan)
{
    const Botan::AlgorithmIdentifier algorithm;
    EXPECT_THROW(RSAPubKey(Bytes{}, exponent), Botan::Exception);
    EXPECT_THROW(RSAPubKey(Modulus(), Bytes{}), Botan::Exception);
    EXPECT_THROW(RSAPubKey(Bytes{0x10, 0x20}, exponent), Botan::Exception) << "even";
    EXPECT_THROW(RSAPubKey(&algorithm, Bytes{1, 2, 3}), Botan::Exception);
}

TEST(RsaPublicKey, SetModulusDoesNothing)
{
    RSAPubKey key(Modulus(), exponent);
    const HexBinary other("0F");
    key.SetModulus(&other);
    key.SetModulus(nullptr);
    EXPECT_EQ(ModulusOf(key), Modulus());
    EXPECT_EQ(TakeBytes(key.Get_E()), exponent);
}

TEST(RsaPublicKey, CopyHasABotanKeyOfItsOwn)
{
    auto source = std::make_unique<RSAPubKey>(Modulus(), exponent);
    const RSAPubKey copy(*source);
    EXPECT_NE(copy.GetBotanPublicKey(), source->GetBotanPublicKey());
    source = nullptr;
    EXPECT_EQ(ModulusOf(copy), Modulus());
}

TEST(RsaPublicKey, AssignmentReplacesTheKey)
{
    RSAPubKey key(*OtherRsaKey().GetPublicKey());
    {
        const RSAPubKey source(Modulus(), exponent);
        key = source;
        EXPECT_NE(key.GetBotanPublicKey(), source.GetBotanPublicKey());
    }
    EXPECT_EQ(ModulusOf(key), Modulus());
}

TEST(RsaPublicKey, AssignedToItselfStaysAsItIs)
{
    RSAPubKey key(Modulus(), exponent);
    const RSAPubKey& same = key;
    key = same;
    EXPECT_EQ(ModulusOf(key), Modulus());
}

TEST(RsaPublicKey, CopyOfOneWithoutABotanKeyHasNone)
{
    const RSAPubKey none;
    RSAPubKey assigned(Modulus(), exponent);
    assigned = none;
    EXPECT_EQ(RSAPubKey(none).GetBotanPublicKey(), nullptr);
    EXPECT_EQ(assigned.GetBotanPublicKey(), nullptr);
}

TEST(RsaPublicKey, IsOnePointerWide)
{
    EXPECT_EQ(sizeof(RSAPubKey), sizeof(void*));
    const RSAPubKey key(Modulus(), exponent);
    EXPECT_EQ(*reinterpret_cast<Botan::RSA_PublicKey* const*>(&key), key.GetBotanPublicKey());
}

TEST(RsaPrivateKey, OfTheDefaultConstructorHasNeitherHalf)
{
    const RSAPrivKey key;
    EXPECT_EQ(key.GetBotanPrivateKey(), nullptr);
    EXPECT_EQ(key.GetPublicKey(), nullptr);
}

TEST(RsaPrivateKey, OfBitsHasThatManyAndTheUsualExponent)
{
    for (const int bits : {1024, 2048}) {
        const RSAPrivKey& key = TestRsaKey(bits);
        EXPECT_EQ(key.GetBotanPrivateKey()->get_n().bits(), static_cast<std::size_t>(bits));
        EXPECT_EQ(TakeBytes(key.GetPublicKey()->Get_E()), exponent);
        EXPECT_EQ(ModulusOf(*key.GetPublicKey()).size(), static_cast<std::size_t>(bits) / 8);
    }
}

TEST(RsaPrivateKey, OfTooFewBitsIsRefusedByBotan)
{
    EXPECT_THROW(RSAPrivKey(512), Botan::Exception);
    EXPECT_THROW(RSAPrivKey(0), Botan::Exception);
}

TEST(RsaPrivateKey, PartsAreThoseOfTheBotanKey)
{
    const RSAPrivKey& key = TestRsaKey();
    const Botan::RSA_PrivateKey& botanKey = *key.GetBotanPrivateKey();
    EXPECT_EQ(TakeBytes(key.Get_P()), BigIntBytes(botanKey.get_p()));
    EXPECT_EQ(TakeBytes(key.Get_Q()), BigIntBytes(botanKey.get_q()));
    EXPECT_EQ(TakeBytes(key.Get_D()), BigIntBytes(botanKey.get_d()));
    EXPECT_EQ(TakeBytes(key.Get_DP()), BigIntBytes(botanKey.get_d() % (botanKey.get_p() - 1)));
    EXPECT_EQ(TakeBytes(key.Get_DQ()), BigIntBytes(botanKey.get_d() % (botanKey.get_q() - 1)));
    EXPECT_EQ(botanKey.get_p() * botanKey.get_q(), Botan::BigInt(Modulus()));
}

TEST(RsaPrivateKey, OfThePrimesIsTheSameKey)
{
    const RSAPrivKey& source = TestRsaKey();
    const std::unique_ptr<HexBinary> p(source.Get_P());
    const std::unique_ptr<HexBinary> q(source.Get_Q());
    const HexBinary e("010001");
    const RSAPrivKey key(p.get(), q.get(), &e);
    EXPECT_EQ(ModulusOf(*key.GetPublicKey()), Modulus());
    EXPECT_EQ(TakeBytes(key.Get_P()), ToVector(p.get()));
    EXPECT_EQ(TakeBytes(key.Get_Q()), ToVector(q.get()));
    EXPECT_EQ(TakeBytes(key.GetPublicKey()->Get_E()), exponent);
    const Botan::RSA_PrivateKey& botanKey = *key.GetBotanPrivateKey();
    EXPECT_EQ(botanKey.get_d() * 65537 % (botanKey.get_p() - 1), 1U);
    EXPECT_EQ(botanKey.get_d() * 65537 % (botanKey.get_q() - 1), 1U);
}

TEST(RsaPrivateKey, SetPublicKeyTakesOverAndLeavesTheOneBefore)
{
    RSAPrivKey key(TestRsaKey());
    const std::unique_ptr<RSAPubKey> before(key.GetPublicKey());
    auto* given = new RSAPubKey(*OtherRsaKey().GetPublicKey());
    key.SetPublicKey(given);
    EXPECT_EQ(key.GetPublicKey(), given);
    EXPECT_EQ(ModulusOf(*before), Modulus()) << "still there";
}

TEST(RsaPrivateKey, SetPublicKeyTakesNull)
{
    RSAPrivKey key(TestRsaKey());
    const std::unique_ptr<RSAPubKey> before(key.GetPublicKey());
    key.SetPublicKey(nullptr);
    EXPECT_EQ(key.GetPublicKey(), nullptr);
    const RSAPrivKey copy(key);
    EXPECT_EQ(copy.GetPublicKey(), nullptr);
    EXPECT_NE(copy.GetBotanPrivateKey(), nullptr);
}

TEST(RsaPrivateKey, CopyHasBothHalvesOfItsOwn)
{
    auto source = std::make_unique<RSAPrivKey>(TestRsaKey());
    const RSAPrivKey copy(*source);
    EXPECT_NE(copy.GetBotanPrivateKey(), source->GetBotanPrivateKey());
    EXPECT_NE(copy.GetPublicKey(), source->GetPublicKey());
    source = nullptr;
    EXPECT_EQ(ModulusOf(*copy.GetPublicKey()), Modulus());
    EXPECT_EQ(TakeBytes(copy.Get_D()), TakeBytes(TestRsaKey().Get_D()));
}

TEST(RsaPrivateKey, AssignmentReplacesBothHalves)
{
    RSAPrivKey key(OtherRsaKey());
    {
        const RSAPrivKey source(TestRsaKey());
        key = source;
    }
    EXPECT_EQ(ModulusOf(*key.GetPublicKey()), Modulus());
    EXPECT_EQ(TakeBytes(key.Get_D()), TakeBytes(TestRsaKey().Get_D()));
}

TEST(RsaPrivateKey, AssignedToItselfStaysAsItIs)
{
    RSAPrivKey key(TestRsaKey());
    const RSAPrivKey& same = key;
    key = same;
    EXPECT_EQ(ModulusOf(*key.GetPublicKey()), Modulus());
    EXPECT_EQ(TakeBytes(key.Get_D()), TakeBytes(TestRsaKey().Get_D()));
}

TEST(RsaPrivateKey, CopyOfOneWithoutABotanKeyHasNone)
{
    const RSAPrivKey none;
    RSAPrivKey assigned(TestRsaKey());
    const std::unique_ptr<RSAPubKey> left(assigned.GetPublicKey()); // ours once the key has no public half
    assigned = none;
    EXPECT_EQ(RSAPrivKey(none).GetBotanPrivateKey(), nullptr);
    EXPECT_EQ(assigned.GetBotanPrivateKey(), nullptr);
    EXPECT_EQ(assigned.GetPublicKey(), nullptr);
}

TEST(RsaPrivateKey, IsTwoPointersWide)
{
    EXPECT_EQ(sizeof(RSAPrivKey), 2 * sizeof(void*));
    const RSAPrivKey& key = TestRsaKey();
    const auto* pointers = reinterpret_cast<const void* const*>(&key);
    EXPECT_EQ(pointers[0], key.GetBotanPrivateKey());
    EXPECT_EQ(pointers[1], key.GetPublicKey());
}
