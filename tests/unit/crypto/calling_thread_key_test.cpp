#include "src/crypto/calling_thread_key.h"

#include "src/botan/big_int_bytes.h"
#include "tavrik/rsa.h"
#include "tests/unit/crypto/rsa_test_keys.h"

#include <botan/auto_rng.h>
#include <botan/numthry.h>
#include <botan/pk_ops.h>
#include <botan/pubkey.h>

#include <gtest/gtest.h>

#include <filesystem>

namespace {

class CallingThreadKeyTest : public ::testing::Test
{
protected:
    Botan::RSA_PrivateKey KeyOf(std::size_t bitsOfP, std::size_t bitsOfQ)
    {
        return NewKeyOfPrimes(random, bitsOfP, bitsOfQ);
    }

    std::vector<uint8_t> Sign(const Botan::Private_Key& key, const std::string& padding)
    {
        Botan::PK_Signer signer(key, random, padding);
        return signer.sign_message(message, random);
    }

    static std::ptrdiff_t Threads()
    {
        const std::filesystem::directory_iterator tasks("/proc/self/task");
        return std::distance(begin(tasks), end(tasks));
    }

    Botan::AutoSeeded_RNG random;
    std::vector<uint8_t> message{'m', 'e', 's', 's', 'a', 'g', 'e'};
};

TEST_F(CallingThreadKeyTest, SignsAsBotansOwnKeyDoes)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    for (const char* padding :
         {"EMSA3(SHA-1)", "EMSA3(SHA-224)", "EMSA3(SHA-256)", "EMSA3(SHA-384)", "EMSA3(SHA-512)",
          "EMSA3(Raw)", "EMSA_PKCS1(SHA-256)", "EMSA-PKCS1-v1_5(SHA-256)"}) {
        EXPECT_EQ(Sign(CallingThreadKey(key), padding), Sign(key, padding)) << padding;
    }
}

TEST_F(CallingThreadKeyTest, SignsAHashThatIsGivenAsBotansOwnKeyDoes)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    message.resize(32, 7);
    EXPECT_EQ(Sign(CallingThreadKey(key), "EMSA3(Raw,SHA-256)"), Sign(key, "EMSA3(Raw,SHA-256)"));
    EXPECT_THROW(Sign(CallingThreadKey(key), "EMSA3(Raw,SHA-384)"), Botan::Encoding_Error);
}

TEST_F(CallingThreadKeyTest, SignsNoMoreThanHasRoom)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    message.resize(128 - 11, 7);
    EXPECT_EQ(Sign(CallingThreadKey(key), "EMSA3(Raw)"), Sign(key, "EMSA3(Raw)"));
    message.push_back(7);
    EXPECT_THROW(Sign(CallingThreadKey(key), "EMSA3(Raw)"), Botan::Encoding_Error);
    EXPECT_THROW(Sign(key, "EMSA3(Raw)"), Botan::Encoding_Error);
}

TEST_F(CallingThreadKeyTest, SignsManyTimesWithOneSigner)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    for (const char* padding : {"EMSA3(SHA-256)", "EMSA3(Raw)"}) {
        const auto expected = Sign(key, padding);
        Botan::PK_Signer signer(CallingThreadKey(key), random, padding);
        for (int i = 0; i < 5; ++i) {
            ASSERT_EQ(signer.sign_message(message, random), expected) << padding << " " << i;
        }
    }
}

TEST_F(CallingThreadKeyTest, DecryptsWhatItsPublicHalfHasEncrypted)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    for (const char* padding : {"EME-PKCS1-v1_5", "PKCS1v15"}) {
        const Botan::PK_Encryptor_EME encryptor(key, random, padding);
        const Botan::PK_Decryptor_EME decryptor(CallingThreadKey(key), random, padding);
        const auto plain = decryptor.decrypt(encryptor.encrypt(message, random));
        EXPECT_EQ(std::vector<uint8_t>(plain.begin(), plain.end()), message) << padding;
    }
}

TEST_F(CallingThreadKeyTest, RefusesWhatItsPublicHalfHasNotEncrypted)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    const Botan::PK_Decryptor_EME decryptor(CallingThreadKey(key), random, "EME-PKCS1-v1_5");
    EXPECT_THROW(decryptor.decrypt(BigIntBytes(2, 128)), Botan::Decoding_Error);
    EXPECT_THROW(decryptor.decrypt(BigIntBytes(key.get_n(), 128)), Botan::Invalid_Argument);
}

TEST_F(CallingThreadKeyTest, DecryptsWithoutPaddingToTheNumberWithoutZeros)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    const Botan::PK_Decryptor_EME decryptor(CallingThreadKey(key), random, "Raw");
    const auto decrypted = [&](const Botan::BigInt& number) {
        const auto plain = decryptor.decrypt(BigIntBytes(number, 128));
        return std::vector<uint8_t>(plain.begin(), plain.end());
    };
    EXPECT_EQ(decrypted(0), std::vector<uint8_t>());
    EXPECT_EQ(decrypted(1), std::vector<uint8_t>{1});
    EXPECT_EQ(decrypted(key.get_p()), BigIntBytes(power_mod(key.get_p(), key.get_d(), key.get_n())));
}

// They are computed by Botan's own key.
TEST_F(CallingThreadKeyTest, KnowsTheOtherPaddingsToo)
{
    const Botan::RSA_PrivateKey key = KeyOf(768, 768);
    const auto signature = Sign(CallingThreadKey(key), "EMSA4(SHA-256)");
    EXPECT_TRUE(Botan::PK_Verifier(key, "EMSA4(SHA-256)").verify_message(message, signature));
    const Botan::PK_Encryptor_EME encryptor(key, random, "OAEP(SHA-256)");
    const Botan::PK_Decryptor_EME decryptor(CallingThreadKey(key), random, "OAEP(SHA-256)");
    const auto plain = decryptor.decrypt(encryptor.encrypt(message, random));
    EXPECT_EQ(std::vector<uint8_t>(plain.begin(), plain.end()), message);
}

TEST_F(CallingThreadKeyTest, RefusesAnUnknownPaddingOrProviderAsBotanDoes)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    const CallingThreadKey own(key);
    for (const char* padding : {"Nonsense", "EMSA3(SHA-256", "EMSA3(Nonsense)", "EMSA3"}) {
        EXPECT_THROW(Botan::PK_Signer(own, random, padding), Botan::Exception) << padding;
        EXPECT_THROW(Botan::PK_Decryptor_EME(own, random, padding), Botan::Exception) << padding;
    }
    EXPECT_THROW(Botan::PK_Signer(own, random, "Nonsense"), Botan::Algorithm_Not_Found);
    EXPECT_THROW(Botan::PK_Decryptor_EME(own, random, "Nonsense"), Botan::Algorithm_Not_Found);
    EXPECT_THROW(own.create_signature_op(random, "EMSA3(SHA-256)", "other"), Botan::Provider_Not_Found);
    EXPECT_THROW(own.create_decryption_op(random, "Raw", "other"), Botan::Provider_Not_Found);
}

TEST_F(CallingThreadKeyTest, StandsForItsKey)
{
    const Botan::RSA_PrivateKey key = KeyOf(512, 512);
    const CallingThreadKey own(key);
    EXPECT_EQ(own.algo_name(), "RSA");
    EXPECT_EQ(own.key_length(), key.key_length());
    EXPECT_EQ(own.estimated_strength(), key.estimated_strength());
    EXPECT_EQ(own.algorithm_identifier(), key.algorithm_identifier());
    EXPECT_EQ(own.public_key_bits(), key.public_key_bits());
    EXPECT_EQ(own.private_key_bits(), key.private_key_bits());
}

// A forked child would have the threads' pool without the threads.
TEST_F(CallingThreadKeyTest, ExportedClassesStartNoThread)
{
    const auto before = Threads();
    Zelmo::Crypto::RSAPrivKey key(1024);
    const HexBinary data(message.data(), static_cast<int32_t>(message.size()), true);
    Zelmo::Crypto::RsaSigner signer(&key, "EMSA3(SHA-256)");
    const std::unique_ptr<HexBinary> signature(signer.Sign(&data));
    Zelmo::Crypto::RSA both(&key, "EMSA3(SHA-256)");
    EXPECT_TRUE(both.Verify(&data, signature.get()));
    const std::unique_ptr<HexBinary> other(both.Sign(&data));
    auto encrypted = Zelmo::Crypto::RsaEncryptor(&key, "EME-PKCS1-v1_5").Encrypt(message);
    const std::unique_ptr<HexBinary> block(HexBinary::FromByteVector(encrypted));
    Zelmo::Crypto::RsaDecryptor decryptor(&key, "EME-PKCS1-v1_5");
    const std::unique_ptr<HexBinary> plain(decryptor.Decrypt(block.get()));
    EXPECT_EQ(HexBinary::Compare(plain.get(), &data), 0);
    EXPECT_EQ(Threads(), before);
}

} // namespace
