#include "tests/unit/crypto/rsa_test_keys.h"

#include "src/crypto/byte_conversion.h"

#include <botan/exceptn.h>
#include <botan/rsa.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <type_traits>

using namespace Zelmo::Crypto;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr char sha256Mode[] = "EMSA3(SHA-256)";
constexpr char paddingMode[] = "EME-PKCS1-v1_5";

const Bytes message{'m', 'e', 's', 's', 'a', 'g', 'e'};
const Bytes otherMessage{'m', 'e', 's', 's', 'a', 'g', 'f'};

template <typename Signer>
Bytes SignatureBy(Signer& signer, const Bytes& data)
{
    const HexBinary value = MakeHex(data);
    return TakeBytes(signer.Sign(&value));
}

bool VerifiedBy(RSA& rsa, const Bytes& data, const Bytes& signature)
{
    const HexBinary dataValue = MakeHex(data);
    const HexBinary signatureValue = MakeHex(signature);
    return rsa.Verify(&dataValue, &signatureValue);
}

Bytes DecryptedBy(RsaDecryptor& decryptor, const Bytes& data)
{
    const HexBinary value = MakeHex(data);
    return TakeBytes(decryptor.Decrypt(&value));
}

bool Matches(const Bytes& data, const Bytes& signature, RSAPrivKey& key = TestRsaKey())
{
    return RsaVerifier(key.GetPublicKey(), sha256Mode).Verify(data, signature);
}

// Overwrites the part of the stack that constructors have used, so that what was left there is found out.
[[gnu::noinline]] void OverwriteStack()
{
    volatile char area[65536];
    for (volatile char& byte : area) {
        byte = 0x5A;
    }
}

// The pointer at a field's place in an object.
template <typename Object>
const void* PointerAt(const Object& object, std::size_t offset)
{
    const void* pointer = nullptr;
    std::memcpy(static_cast<void*>(&pointer), reinterpret_cast<const char*>(&object) + offset,
                sizeof(pointer));
    return pointer;
}

} // namespace

TEST(RsaSignerMode, IsKnownForFourSignatures)
{
    EXPECT_EQ(RSA::GetSignerMode("1.2.840.113549.1.1.5"), "EMSA3(SHA-1)");
    EXPECT_EQ(RSA::GetSignerMode("1.2.840.113549.1.1.11"), "EMSA3(SHA-256)");
    EXPECT_EQ(RSA::GetSignerMode("1.2.840.113549.1.1.12"), "EMSA3(SHA-384)");
    EXPECT_EQ(RSA::GetSignerMode("1.2.840.113549.1.1.13"), "EMSA3(SHA-512)");
}

TEST(RsaSignerMode, IsEmptyForAnythingElse)
{
    for (const char* text : {"1.2.840.113549.1.1.11 ", " 1.2.840.113549.1.1.11", "1.2.840.113549.1.1.14", "",
                             "1.2.840.113549.1.1.1", "1.2.840.113549.1.1", "sha256WithRSAEncryption"}) {
        EXPECT_EQ(RSA::GetSignerMode(text), "") << text;
    }
    EXPECT_EQ(RSA::GetSignerMode(std::string("1.2.840.113549.1.1.11\0", 22)), "");
}

TEST(RsaSignerMode, SignsAndVerifies)
{
    for (const char* oid : {"1.2.840.113549.1.1.5", "1.2.840.113549.1.1.11", "1.2.840.113549.1.1.12",
                            "1.2.840.113549.1.1.13"}) {
        RSA rsa(&TestRsaKey(), RSA::GetSignerMode(oid));
        EXPECT_TRUE(VerifiedBy(rsa, message, SignatureBy(rsa, message))) << oid;
    }
}

TEST(RsaBoth, OfAPrivateKeySignsAndVerifies)
{
    RSA rsa(&TestRsaKey(), sha256Mode);
    const Bytes signature = SignatureBy(rsa, message);
    EXPECT_EQ(signature.size(), 128U);
    EXPECT_TRUE(VerifiedBy(rsa, message, signature));
    EXPECT_FALSE(VerifiedBy(rsa, otherMessage, signature));
    EXPECT_TRUE(Matches(message, signature));
}

TEST(RsaBoth, OfAPublicKeyVerifies)
{
    RSA signing(&TestRsaKey(), sha256Mode);
    RSA rsa(TestRsaKey().GetPublicKey(), sha256Mode);
    EXPECT_TRUE(VerifiedBy(rsa, message, SignatureBy(signing, message)));
}

TEST(RsaBoth, OfAPrivateKeyWithoutPublicHalfSigns)
{
    RSAPrivKey key(TestRsaKey());
    const std::unique_ptr<RSAPubKey> publicHalf(key.GetPublicKey());
    key.SetPublicKey(nullptr);
    RSA rsa(&key, sha256Mode);
    EXPECT_TRUE(Matches(message, SignatureBy(rsa, message)));
    const RSA copy(rsa);
    EXPECT_EQ(PointerAt(copy, sizeof(std::string) + 3 * sizeof(void*)), nullptr) << "no verifier";
}

TEST(RsaBoth, NullAndEmptyDataSignTheEmptyString)
{
    RSA rsa(&TestRsaKey(), sha256Mode);
    const Bytes ofNull = TakeBytes(rsa.Sign(nullptr));
    const HexBinary empty(nullptr, 0, false);
    const Bytes ofEmpty = TakeBytes(rsa.Sign(&empty));
    EXPECT_EQ(ofNull, ofEmpty);
    EXPECT_TRUE(Matches({}, ofNull));
}

TEST(RsaBoth, CopyAndAssignmentAreObjectsOfTheirOwn)
{
    auto source = std::make_unique<RSA>(&TestRsaKey(), sha256Mode);
    RSA copy(*source);
    RSA assigned(OtherRsaKey().GetPublicKey(), sha256Mode);
    assigned = *source;
    source = nullptr;
    EXPECT_TRUE(VerifiedBy(assigned, message, SignatureBy(copy, message)));
    EXPECT_TRUE(VerifiedBy(copy, message, SignatureBy(assigned, message)));
    const RSA& same = copy;
    copy = same;
    EXPECT_TRUE(VerifiedBy(copy, message, SignatureBy(copy, message)));
}

TEST(RsaBoth, AssignmentOfOneWithoutASignerTakesTheSignerAway)
{
    RSA rsa(&TestRsaKey(), sha256Mode);
    const Bytes signature = SignatureBy(rsa, message);
    const RSA publicOnly(TestRsaKey().GetPublicKey(), sha256Mode);
    rsa = publicOnly;
    EXPECT_EQ(PointerAt(rsa, sizeof(std::string)), nullptr);
    EXPECT_EQ(PointerAt(rsa, sizeof(std::string) + 2 * sizeof(void*)), nullptr);
    EXPECT_TRUE(VerifiedBy(rsa, message, signature));
}

TEST(RsaSignerClass, SignsWhatTheVerifierAccepts)
{
    RsaSigner signer(&TestRsaKey(), sha256Mode);
    const Bytes signature = SignatureBy(signer, message);
    RsaVerifier verifier(TestRsaKey().GetPublicKey(), sha256Mode);
    EXPECT_TRUE(verifier.Verify(message, signature));
    EXPECT_FALSE(verifier.Verify(otherMessage, signature));
    EXPECT_FALSE(RsaVerifier(&OtherRsaKey(), sha256Mode).Verify(message, signature));
    EXPECT_TRUE(Matches({}, SignatureBy(signer, {})));
}

TEST(RsaSignerClass, UnusableModeIsRefusedByBotan)
{
    EXPECT_THROW(RsaSigner(&TestRsaKey(), "no such mode"), Botan::Exception);
    EXPECT_THROW(RsaVerifier(&TestRsaKey(), "no such mode"), Botan::Exception);
    EXPECT_THROW(RsaEncryptor(&TestRsaKey(), "no such mode"), Botan::Exception);
    EXPECT_THROW(RsaDecryptor(&TestRsaKey(), "no such mode"), Botan::Exception);
    EXPECT_THROW(RSA(&TestRsaKey(), "no such mode"), Botan::Exception);
}

// Botan keeps a reference to the generator for as long as the operation lives.
TEST(RsaSignerClass, GeneratorLivesAsLongAsTheSigner)
{
    const auto signer = std::make_unique<RsaSigner>(&TestRsaKey(), sha256Mode);
    OverwriteStack();
    for (int round = 0; round < 200; ++round) { // more often than the blinding lasts
        ASSERT_TRUE(Matches(message, SignatureBy(*signer, message)));
    }
}

TEST(RsaSignerClass, CopyAndAssignmentAreObjectsOfTheirOwn)
{
    auto source = std::make_unique<RsaSigner>(&TestRsaKey(), sha256Mode);
    RsaSigner copy(*source);
    RsaSigner assigned(&OtherRsaKey(), "EMSA3(SHA-1)");
    assigned = *source;
    source = nullptr;
    const RsaSigner& same = assigned;
    assigned = same;
    EXPECT_TRUE(Matches(message, SignatureBy(copy, message)));
    EXPECT_TRUE(Matches(message, SignatureBy(assigned, message)));
}

TEST(RsaVerifierClass, OfAPrivateKeyUsesItsPublicHalf)
{
    RsaVerifier verifier(&TestRsaKey(), sha256Mode);
    EXPECT_EQ(PointerAt(verifier, sizeof(std::string)), TestRsaKey().GetPublicKey());
    RsaSigner signer(&TestRsaKey(), sha256Mode);
    EXPECT_TRUE(verifier.Verify(message, SignatureBy(signer, message)));
}

TEST(RsaVerifierClass, BadSignaturesAreFalseAndNoException)
{
    RsaVerifier verifier(&TestRsaKey(), sha256Mode);
    EXPECT_FALSE(verifier.Verify(message, {}));
    EXPECT_FALSE(verifier.Verify(message, {1}));
    EXPECT_FALSE(verifier.Verify(message, Bytes(128, 0xFF)));
    EXPECT_FALSE(verifier.Verify(message, Bytes(1000, 0xFF)));
}

// A signature is a number: what stands in front of it or is missing there are zeros.
TEST(RsaVerifierClass, LeadingZerosMakeNoDifference)
{
    RSA rsa(&TestRsaKey(), sha256Mode);
    Bytes data;
    Bytes signature{1};
    for (uint16_t number = 0; signature.front() != 0; ++number) {
        data = {static_cast<uint8_t>(number >> 8U), static_cast<uint8_t>(number)};
        signature = SignatureBy(rsa, data);
    }
    EXPECT_TRUE(Matches(data, Bytes(signature.begin() + 1, signature.end())));
    for (const std::size_t count : {1U, 2U, 200U}) {
        Bytes padded(count, 0);
        padded.insert(padded.end(), signature.begin(), signature.end());
        EXPECT_TRUE(Matches(data, padded)) << count;
        EXPECT_TRUE(VerifiedBy(rsa, data, padded)) << count;
        padded.back() ^= 1U;
        EXPECT_FALSE(Matches(data, padded)) << count;
    }
    EXPECT_FALSE(Matches(data, Bytes(129, 0)));
}

TEST(RsaVerifierClass, CopyAndAssignmentAreObjectsOfTheirOwn)
{
    RsaSigner signer(&TestRsaKey(), sha256Mode);
    const Bytes signature = SignatureBy(signer, message);
    auto source = std::make_unique<RsaVerifier>(&TestRsaKey(), sha256Mode);
    RsaVerifier copy(*source);
    RsaVerifier assigned(&OtherRsaKey(), sha256Mode);
    EXPECT_FALSE(assigned.Verify(message, signature));
    assigned = *source;
    source = nullptr;
    const RsaVerifier& same = assigned;
    assigned = same;
    EXPECT_TRUE(copy.Verify(message, signature));
    EXPECT_TRUE(assigned.Verify(message, signature));
}

TEST(RsaEncryptorClass, RawModeAddsNoPadding)
{
    RsaEncryptor encryptor(TestRsaKey().GetPublicKey(), "Raw");
    Bytes block(128, 0x77);
    block[0] = 0;
    const Bytes encrypted = encryptor.Encrypt(block);
    EXPECT_EQ(encrypted.size(), 128U);
    EXPECT_EQ(encryptor.Encrypt(block), encrypted) << "nothing is drawn by lot";
    RsaDecryptor decryptor(&TestRsaKey(), "Raw");
    EXPECT_EQ(DecryptedBy(decryptor, encrypted), Bytes(127, 0x77)) << "Botan drops the zero in front";
}

TEST(RsaEncryptorClass, RawBlockThatIsTooLargeIsRefusedByBotan)
{
    RsaEncryptor encryptor(&TestRsaKey(), "Raw");
    EXPECT_THROW(encryptor.Encrypt(Bytes(128, 0xFF)), Botan::Exception);
    EXPECT_THROW(encryptor.Encrypt(Bytes(129, 0x01)), Botan::Exception);
}

TEST(RsaEncryptorClass, LeadingZerosOfARawBlockMakeNoDifference)
{
    RsaEncryptor encryptor(&TestRsaKey(), "Raw");
    const Bytes encrypted = encryptor.Encrypt(Bytes(127, 0x77));
    for (const std::size_t count : {1U, 2U, 200U}) {
        Bytes block(count, 0);
        block.insert(block.end(), 127, 0x77);
        EXPECT_EQ(encryptor.Encrypt(block), encrypted) << count;
    }
    EXPECT_EQ(encryptor.Encrypt(Bytes(200, 0)), Bytes(128, 0));
    EXPECT_EQ(encryptor.Encrypt({}), Bytes(128, 0));
}

TEST(RsaEncryptorClass, LeadingZerosOfWhatIsDecryptedMakeNoDifference)
{
    for (const char* mode : {paddingMode, "EME1(SHA-1)", "Raw"}) {
        RsaEncryptor encryptor(&TestRsaKey(), mode);
        RsaDecryptor decryptor(&TestRsaKey(), mode);
        Bytes encrypted = encryptor.Encrypt(message);
        encrypted.insert(encrypted.begin(), 3, 0);
        EXPECT_EQ(DecryptedBy(decryptor, encrypted), message) << mode;
    }
}

// With padding, they are part of the message.
TEST(RsaEncryptorClass, LeadingZerosOfAMessageArrive)
{
    RsaEncryptor encryptor(&TestRsaKey(), paddingMode);
    RsaDecryptor decryptor(&TestRsaKey(), paddingMode);
    EXPECT_EQ(DecryptedBy(decryptor, encryptor.Encrypt(Bytes(5, 0))), Bytes(5, 0));
}

TEST(RsaEncryptorClass, DecryptorGivesThePlainTextBack)
{
    for (const int bits : {1024, 2048}) {
        for (const char* mode : {paddingMode, "EME1(SHA-1)"}) {
            RsaEncryptor encryptor(&TestRsaKey(bits), mode);
            RsaDecryptor decryptor(&TestRsaKey(bits), mode);
            EXPECT_EQ(DecryptedBy(decryptor, encryptor.Encrypt(message)), message) << bits << mode;
            EXPECT_EQ(DecryptedBy(decryptor, encryptor.Encrypt({})), Bytes{}) << bits << mode;
        }
    }
}

TEST(RsaEncryptorClass, TooLongMessageIsRefusedByBotan)
{
    RsaEncryptor encryptor(&TestRsaKey(), paddingMode);
    EXPECT_EQ(encryptor.Encrypt(Bytes(117, 1)).size(), 128U);
    EXPECT_THROW(encryptor.Encrypt(Bytes(118, 1)), Botan::Exception);
}

TEST(RsaEncryptorClass, OfAPrivateKeyUsesItsPublicHalf)
{
    const RsaEncryptor encryptor(&TestRsaKey(), paddingMode);
    EXPECT_EQ(PointerAt(encryptor, sizeof(std::string)), TestRsaKey().GetPublicKey());
}

TEST(RsaEncryptorClass, CopyAndAssignmentAreObjectsOfTheirOwn)
{
    auto source = std::make_unique<RsaEncryptor>(&TestRsaKey(), paddingMode);
    RsaEncryptor copy(*source);
    RsaEncryptor assigned(&OtherRsaKey(), "Raw");
    assigned = *source;
    source = nullptr;
    const RsaEncryptor& same = assigned;
    assigned = same;
    RsaDecryptor decryptor(&TestRsaKey(), paddingMode);
    EXPECT_EQ(DecryptedBy(decryptor, copy.Encrypt(message)), message);
    EXPECT_EQ(DecryptedBy(decryptor, assigned.Encrypt(message)), message);
}

TEST(RsaDecryptorClass, GeneratorLivesAsLongAsTheDecryptor)
{
    const auto decryptor = std::make_unique<RsaDecryptor>(&TestRsaKey(), paddingMode);
    OverwriteStack();
    RsaEncryptor encryptor(&TestRsaKey(), paddingMode);
    const Bytes encrypted = encryptor.Encrypt(message);
    for (int round = 0; round < 200; ++round) {
        ASSERT_EQ(DecryptedBy(*decryptor, encrypted), message);
    }
}

TEST(RsaDecryptorClass, CopyAndAssignmentAreObjectsOfTheirOwn)
{
    RsaEncryptor encryptor(&TestRsaKey(), paddingMode);
    const Bytes encrypted = encryptor.Encrypt(message);
    auto source = std::make_unique<RsaDecryptor>(&TestRsaKey(), paddingMode);
    RsaDecryptor copy(*source);
    RsaDecryptor assigned(&OtherRsaKey(), paddingMode);
    assigned = *source;
    source = nullptr;
    const RsaDecryptor& same = assigned;
    assigned = same;
    EXPECT_EQ(DecryptedBy(copy, encrypted), message);
    EXPECT_EQ(DecryptedBy(assigned, encrypted), message);
}

TEST(RsaLayout, OperationIsAPointerBehindModeAndKey)
{
    EXPECT_EQ(sizeof(RsaSigner), sizeof(std::string) + 2 * sizeof(void*));
    EXPECT_EQ(sizeof(RsaVerifier), sizeof(RsaSigner));
    EXPECT_EQ(sizeof(RsaEncryptor), sizeof(RsaSigner));
    EXPECT_EQ(sizeof(RsaDecryptor), sizeof(RsaSigner));
    EXPECT_EQ(sizeof(RSA), sizeof(std::string) + 4 * sizeof(void*));
    EXPECT_FALSE(std::is_polymorphic_v<RsaSigner>);
    EXPECT_FALSE(std::is_polymorphic_v<RSA>);
}

TEST(RsaLayout, FieldsStandInTheirOrder)
{
    const RsaSigner signer(&TestRsaKey(), sha256Mode);
    EXPECT_EQ(*reinterpret_cast<const std::string*>(&signer), sha256Mode);
    EXPECT_EQ(PointerAt(signer, sizeof(std::string)), &TestRsaKey());
    EXPECT_NE(PointerAt(signer, sizeof(std::string) + sizeof(void*)), nullptr);
    const RsaDecryptor decryptor(&TestRsaKey(), paddingMode);
    EXPECT_EQ(*reinterpret_cast<const std::string*>(&decryptor), paddingMode);
    EXPECT_EQ(PointerAt(decryptor, sizeof(std::string)), &TestRsaKey());
    const RSA both(&TestRsaKey(), sha256Mode);
    EXPECT_EQ(*reinterpret_cast<const std::string*>(&both), sha256Mode);
    EXPECT_EQ(PointerAt(both, sizeof(std::string)), &TestRsaKey());
    EXPECT_EQ(PointerAt(both, sizeof(std::string) + sizeof(void*)), TestRsaKey().GetPublicKey());
    EXPECT_NE(PointerAt(both, sizeof(std::string) + 2 * sizeof(void*)), nullptr);
    EXPECT_NE(PointerAt(both, sizeof(std::string) + 3 * sizeof(void*)), nullptr);
}

namespace {

// A key that is assigned another one while operations refer to its public half.
class AssignedKey : public testing::Test
{
protected:
    RSAPrivKey key{TestRsaKey()};
    RSAPubKey* const half = key.GetPublicKey();
};

} // namespace

TEST_F(AssignedKey, KeepsThePublicHalfThatOperationsReferTo)
{
    key = OtherRsaKey();
    EXPECT_EQ(key.GetPublicKey(), half);
    EXPECT_EQ(TakeBytes(half->Get_N()), TakeBytes(OtherRsaKey().GetPublicKey()->Get_N()));
    EXPECT_NE(half->GetBotanPublicKey(), OtherRsaKey().GetPublicKey()->GetBotanPublicKey());
}

TEST_F(AssignedKey, LetsItsOperationsBeCopiedAndAssigned)
{
    RSA both(&key, sha256Mode);
    RsaVerifier verifier(&key, sha256Mode);
    RsaEncryptor encryptor(&key, paddingMode);
    key = OtherRsaKey();
    RSA copyOfBoth(both);
    RsaVerifier copyOfVerifier(verifier);
    RsaEncryptor copyOfEncryptor(encryptor);
    both = copyOfBoth;
    verifier = copyOfVerifier;
    encryptor = copyOfEncryptor;

    // A copy is made of what the key is by then, as that of a signer is.
    const Bytes signature = SignatureBy(copyOfBoth, message);
    EXPECT_TRUE(Matches(message, signature, OtherRsaKey()));
    EXPECT_TRUE(VerifiedBy(both, message, signature));
    EXPECT_TRUE(copyOfVerifier.Verify(message, signature));
    EXPECT_TRUE(verifier.Verify(message, signature));
    RsaDecryptor decryptor(&OtherRsaKey(), paddingMode);
    EXPECT_EQ(DecryptedBy(decryptor, copyOfEncryptor.Encrypt(message)), message);
    EXPECT_EQ(DecryptedBy(decryptor, encryptor.Encrypt(message)), message);
}

TEST_F(AssignedKey, WithoutAPublicHalfLeavesTheOldOneToTheCaller)
{
    const RsaVerifier verifier(&key, sha256Mode);
    RsaSigner signer(&TestRsaKey(), sha256Mode);
    key = RSAPrivKey();
    EXPECT_EQ(key.GetPublicKey(), nullptr);
    EXPECT_EQ(key.GetBotanPrivateKey(), nullptr);
    RsaVerifier copy(verifier);
    EXPECT_TRUE(copy.Verify(message, SignatureBy(signer, message)));
    delete half; // as after SetPublicKey
}

TEST_F(AssignedKey, TakesAPublicHalfWhenItHadNone)
{
    RSAPrivKey none;
    none = key;
    EXPECT_NE(none.GetPublicKey(), half);
    EXPECT_EQ(TakeBytes(none.GetPublicKey()->Get_N()), TakeBytes(half->Get_N()));
}
