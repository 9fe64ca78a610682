// Encrypting for a public key: the block, the lengths, and what stays active after which answer.
#include "src/botan/big_int_bytes.h"
#include "tests/blackbox/crypto_helpers.h"
#include "tests/support/mutex_callbacks.h"

#include <botan/numthry.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

namespace blackbox {
namespace {

const std::string encryptInitLine = "DBG EncryptionManager::Init: EncryptionManager::Init ";
const std::string encryptLengthLine =
    "DBG EncryptionManager::GetLength: EncryptionManager::GetLength going to "
    "retrieve CKA_MODULUS_BITS attribute";

// An encryption that gets as far as the manager and ends there with this result.
Texts EncryptLines(const std::string& result)
{
    return Framed("C_Encrypt",
                  {encryptLengthLine, encryptLengthLine, LeavingLine("EncryptionManager::Encrypt", result)},
                  result);
}

class EncryptTest : public CryptoTest
{
protected:
    // A session that has begun to encrypt for test key 3, of 2048 bits.
    CK_SESSION_HANDLE StartEncrypting()
    {
        const CK_SESSION_HANDLE session = StartSession();
        EXPECT_EQ(EncryptInit(session, CreateKey(session, TestKey(3))), CKR_OK);
        return session;
    }

    // The block of a successful encryption, as the private key shows it.
    static Bytes BlockOf(const Result& encrypted, const Botan::RSA_PrivateKey& key = TestKey(3))
    {
        EXPECT_EQ(encrypted.result, CKR_OK);
        EXPECT_EQ(encrypted.length, ModulusLength(key));
        return PrivateOperation(key, encrypted.value);
    }

    // 00 02, no zero among the bytes that follow, 00, the data.
    static void ExpectBlock(const Bytes& block, size_t length, const Bytes& data)
    {
        ASSERT_EQ(block.size(), length);
        const auto dataBegin = block.end() - static_cast<std::ptrdiff_t>(data.size());
        EXPECT_EQ(block[0], 0);
        EXPECT_EQ(block[1], 2);
        EXPECT_EQ(std::find(block.begin() + 2, block.end(), 0), dataBegin - 1);
        EXPECT_EQ(Bytes(dataBegin, block.end()), data);
    }
};

TEST_F(EncryptTest, BothFunctionsBeforeTheStartAreRefused)
{
    EXPECT_EQ(f->C_EncryptInit(1, nullptr, 1), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Encrypt(1, nullptr, 0, nullptr, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
}

TEST_F(EncryptTest, UnknownSessionIsCheckedFirstUnderTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    const Texts locked{"LockMutex(1)", "UnlockMutex(1)"};
    EXPECT_EQ(f->C_EncryptInit(1, nullptr, 99), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), locked);
    EXPECT_EQ(f->C_Encrypt(1, nullptr, 0, nullptr, nullptr), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), locked);
}

TEST_F(EncryptTest, EncryptionIsMadeUnderTheLockAndWithoutTheCard)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard({}, &arguments);
    const CK_SESSION_HANDLE session = OpenSession(ordinarySlot);
    ASSERT_EQ(EncryptInit(session, CreateKey(session, TestKey(3))), CKR_OK);
    script->ForgetCalls();
    EXPECT_EQ(Encrypt(session, Counting(5)).result, CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "UnlockMutex(1)"}));
}

TEST_F(EncryptTest, LengthQueryTellsTheModulusLength)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    const Result length = EncryptLength(session);
    EXPECT_EQ(length.result, CKR_OK);
    EXPECT_EQ(length.length, 256U);
    EXPECT_EQ(Encrypt(session, Counting(5)).length, 256U) << "the query ends nothing";
}

TEST_F(EncryptTest, LengthQueryDoesNotLookAtTheData)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    CK_ULONG length = 0;
    EXPECT_EQ(f->C_Encrypt(session, nullptr, 1000, nullptr, &length), CKR_OK);
    EXPECT_EQ(length, 256U);
}

TEST_F(EncryptTest, BlockIsPaddedUpToTheModulusLength)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    for (const size_t count : {1U, 5U, 100U, 244U, 245U}) {
        const Bytes data = Counting(count, 0);
        ExpectBlock(BlockOf(Encrypt(session, data)), 256, data);
    }
}

TEST_F(EncryptTest, PadOfTheLongestDataHasEightBytes)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    const Bytes block = BlockOf(Encrypt(session, Bytes(245, 0xA7)));
    EXPECT_EQ(block[10], 0);
    EXPECT_EQ(std::count(block.begin() + 2, block.begin() + 10, 0), 0);
}

TEST_F(EncryptTest, DataOneByteTooLongAreRefused)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    EXPECT_EQ(Encrypt(session, Counting(245)).result, CKR_OK);
    EXPECT_EQ(Encrypt(session, Counting(246)), Failed(CKR_DATA_LEN_RANGE));
    EXPECT_EQ(Encrypt(session, Counting(256)), Failed(CKR_DATA_LEN_RANGE));
    EXPECT_EQ(Encrypt(session, Counting(1000)), Failed(CKR_DATA_LEN_RANGE));
    EXPECT_EQ(Encrypt(session, Counting(245)).result, CKR_OK) << "a refusal ends nothing";
}

TEST_F(EncryptTest, BlockOfNoDataEndsWithItsSeparator)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    ExpectBlock(BlockOf(Encrypt(session, {})), 256, {});
}

TEST_F(EncryptTest, NullDataOfNoLengthAreNoData)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    Bytes room(256);
    CK_ULONG length = 0;
    EXPECT_EQ(f->C_Encrypt(session, nullptr, 0, room.data(), &length), CKR_OK);
    EXPECT_EQ(length, 256U);
    ExpectBlock(PrivateOperation(TestKey(3), room), 256, {});
}

// The pad comes from rand, seeded with the second: whoever knows the second knows the block.
TEST_F(EncryptTest, PadComesFromTheClock)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    const Bytes data = Counting(20);
    for (int attempt = 0; attempt < 10; ++attempt) {
        const std::time_t before = std::time(nullptr);
        const Result first = Encrypt(session, data);
        const Result second = Encrypt(session, data);
        if (std::time(nullptr) != before) {
            continue; // the second has changed in between
        }
        EXPECT_EQ(first, second);
        std::srand(static_cast<unsigned int>(before));
        Bytes expected{0, 2};
        while (expected.size() < 256 - 1 - data.size()) {
            const auto byte = static_cast<uint8_t>(std::rand() % 256); // NOLINT(cert-msc30-c,cert-msc50-cpp)
            expected.push_back(byte == 0 ? uint8_t{1} : byte);
        }
        EXPECT_EQ(BlockOf(first), expected + Bytes{0} + data);
        return;
    }
    FAIL() << "ten times the second changed";
}

TEST_F(EncryptTest, RepeatsWithTheSameKey)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    ExpectBlock(BlockOf(Encrypt(session, Counting(5))), 256, Counting(5));
    ExpectBlock(BlockOf(Encrypt(session, Counting(7, 50))), 256, Counting(7, 50));
}

TEST_F(EncryptTest, SizeOfTheBufferIsNotRead)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    for (const CK_ULONG told : {0U, 1U, 255U, 256U, 0xFFFFFFFFU}) {
        Bytes data = Counting(5);
        Bytes room(256);
        CK_ULONG length = told;
        EXPECT_EQ(f->C_Encrypt(session, data.data(), 5, room.data(), &length), CKR_OK) << told;
        EXPECT_EQ(length, 256U);
        ExpectBlock(PrivateOperation(TestKey(3), room), 256, data);
    }
}

TEST_F(EncryptTest, SecondInitReplacesTheKey)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    EXPECT_EQ(EncryptInit(session, CreateKey(session, TestKey(0))), CKR_OK);
    EXPECT_EQ(EncryptLength(session).length, 128U);
    ExpectBlock(BlockOf(Encrypt(session, Counting(5)), TestKey(0)), 128, Counting(5));
}

TEST_F(EncryptTest, InitAnswersOkForAnotherMechanismAndStaysIdle)
{
    const CK_SESSION_HANDLE session = StartSession();
    const CK_OBJECT_HANDLE key = CreateKey(session, TestKey(3));
    for (const CK_MECHANISM_TYPE type : {CKM_SHA_1, CKM_SHA256_RSA_PKCS, 0U}) {
        EXPECT_EQ(EncryptInit(session, key, type), CKR_OK);
        EXPECT_EQ(Encrypt(session, Counting(5)), Failed(CKR_OPERATION_NOT_INITIALIZED));
        EXPECT_EQ(EncryptLength(session), Failed(CKR_OPERATION_NOT_INITIALIZED));
    }
}

TEST_F(EncryptTest, InitAnswersOkForAParameterAndStaysIdle)
{
    const CK_SESSION_HANDLE session = StartSession();
    const CK_OBJECT_HANDLE key = CreateKey(session, TestKey(3));
    CK_BYTE parameter = 0;
    for (CK_MECHANISM mechanism :
         {CK_MECHANISM{CKM_RSA_PKCS, &parameter, 0}, CK_MECHANISM{CKM_RSA_PKCS, nullptr, 1}}) {
        EXPECT_EQ(f->C_EncryptInit(session, &mechanism, key), CKR_OK);
        EXPECT_EQ(Encrypt(session, Counting(5)), Failed(CKR_OPERATION_NOT_INITIALIZED));
    }
}

TEST_F(EncryptTest, BadInitEndsTheGoodOneBefore)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    EXPECT_EQ(EncryptInit(session, firstPublicKey, CKM_SHA_1), CKR_OK);
    EXPECT_EQ(Encrypt(session, Counting(5)), Failed(CKR_OPERATION_NOT_INITIALIZED));
    EXPECT_EQ(EncryptInit(session, firstPublicKey), CKR_OK);
    EXPECT_EQ(Encrypt(session, Counting(5)).result, CKR_OK);
}

TEST_F(EncryptTest, EncryptWithoutInitIsRefusedBeforeItsArguments)
{
    const CK_SESSION_HANDLE session = StartSession();
    EXPECT_EQ(f->C_Encrypt(session, nullptr, 0, nullptr, nullptr), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(EncryptTest, UnknownKeyLeavesAnOperationThatFails)
{
    const CK_SESSION_HANDLE session = StartSession();
    EXPECT_EQ(EncryptInit(session, 99), CKR_OK);
    EXPECT_EQ(EncryptLength(session), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(Encrypt(session, Counting(5)), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(Encrypt(session, Counting(1000)), Failed(CKR_FUNCTION_FAILED)) << "any length passes";
}

TEST_F(EncryptTest, UnknownKeyReplacesTheOneBefore)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    EXPECT_EQ(EncryptInit(session, 99), CKR_OK);
    EXPECT_EQ(EncryptLength(session), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(Encrypt(session, Counting(5)), Failed(CKR_FUNCTION_FAILED));
}

TEST_F(EncryptTest, ObjectWithoutEncryptAttributeLeavesAnOperationThatFails)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    EXPECT_EQ(EncryptInit(session, firstCertificate), CKR_OK);
    EXPECT_EQ(EncryptLength(session), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(Encrypt(session, Counting(5)), Failed(CKR_FUNCTION_FAILED));
}

TEST_F(EncryptTest, FalseEncryptAttributePasses)
{
    const CK_SESSION_HANDLE session = StartSession(qualifiedSlot);
    const CK_OBJECT_HANDLE key = CreateKey(session, TestKey(3));
    ASSERT_EQ(Read(session, key, CKA_ENCRYPT), Stored({CK_FALSE}));
    EXPECT_EQ(EncryptInit(session, key), CKR_OK);
    ExpectBlock(BlockOf(Encrypt(session, Counting(5))), 256, Counting(5));
}

TEST_F(EncryptTest, PrivateKeyObjectOfTheCardGivesItsPublicHalf)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    EXPECT_EQ(EncryptInit(session, firstPrivateKey + 1), CKR_OK);
    ExpectBlock(BlockOf(Encrypt(session, Counting(5)), TestKey(1)), 128, Counting(5));
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(EncryptTest, PartsThatMakeNoKeyFailTheFunction)
{
    LogCapture log(script);
    const Bytes modulus = BigEndian(TestKey(3).get_n());
    Bytes even = modulus;
    even.back() ^= 1U;
    const CK_SESSION_HANDLE session = StartSession();
    for (const auto& [ownModulus, exponent] :
         std::vector<std::pair<Bytes, Bytes>>{{even, {1, 0, 1}}, {modulus, {2}}, {modulus, {}}}) {
        ASSERT_EQ(EncryptInit(session, CreateKey(session, ownModulus, exponent)), CKR_OK);
        log.Forget();
        EXPECT_EQ(Encrypt(session, Counting(5)), Failed(CKR_FUNCTION_FAILED));
        EXPECT_EQ(log.Take(), EncryptLines("6 CKR_FUNCTION_FAILED"));
    }
}

// Below 11 bytes the longest length wraps around, so that any data pass the first test.
TEST_F(EncryptTest, TinyKeyTakesWhateverFitsItsBlock)
{
    const CK_SESSION_HANDLE session = StartSession();
    const Bytes modulus{0xF1, 2, 3, 4, 5, 6, 7, 9};
    ASSERT_EQ(EncryptInit(session, CreateKey(session, modulus, {3})), CKR_OK);
    EXPECT_EQ(EncryptLength(session).length, 8U);
    const Bytes data = Counting(5);
    const Result encrypted = Encrypt(session, data);
    const Botan::BigInt block(Bytes{2, 0} + data);
    EXPECT_EQ(encrypted, Signed(BigIntBytes(Botan::power_mod(block, 3, Botan::BigInt(modulus)), 8)))
        << "without any pad";
    EXPECT_EQ(Encrypt(session, Counting(6)), Failed(CKR_DATA_LEN_RANGE)) << "the block has no room";
    EXPECT_EQ(Encrypt(session, Counting(1000)), Failed(CKR_DATA_LEN_RANGE));
}

TEST_F(EncryptTest, ModulusOfElevenBytesTakesNoDataAtAll)
{
    const CK_SESSION_HANDLE session = StartSession();
    ASSERT_EQ(EncryptInit(session, CreateKey(session, Bytes{0xF1} + Counting(9) + Bytes{11}, {3})), CKR_OK);
    EXPECT_EQ(Encrypt(session, {}).length, 11U);
    EXPECT_EQ(Encrypt(session, {1}), Failed(CKR_DATA_LEN_RANGE));
}

// A leading zero counts in the length of the block, so that the block is shifted by a byte: what comes out is
// nothing that a decryption takes for padded data. The byte that is too many is a zero.
TEST_F(EncryptTest, ModulusWithALeadingZeroEncryptsAShiftedBlock)
{
    const CK_SESSION_HANDLE session = StartSession();
    const CK_OBJECT_HANDLE key =
        CreateKey(session, Bytes{0} + BigEndian(TestKey(3).get_n()), BigEndian(TestKey(3).get_e()));
    ASSERT_EQ(EncryptInit(session, key), CKR_OK);
    EXPECT_EQ(EncryptLength(session).length, 257U);
    const Bytes data = Counting(246);
    const Result encrypted = Encrypt(session, data);
    ASSERT_EQ(encrypted.result, CKR_OK);
    ASSERT_EQ(encrypted.length, 257U);
    EXPECT_EQ(encrypted.value.back(), 0);
    const Bytes front(encrypted.value.begin(), encrypted.value.end() - 1);
    ExpectBlock(Bytes{0} + PrivateOperation(TestKey(3), front), 257, data);
    EXPECT_EQ(Encrypt(session, Counting(247)), Failed(CKR_DATA_LEN_RANGE));
}

TEST_F(EncryptTest, ModulusWithTwoLeadingZerosFailsTheFunction)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartSession();
    const CK_OBJECT_HANDLE key =
        CreateKey(session, Bytes{0, 0} + BigEndian(TestKey(3).get_n()), BigEndian(TestKey(3).get_e()));
    ASSERT_EQ(EncryptInit(session, key), CKR_OK);
    log.Forget();
    EXPECT_EQ(Encrypt(session, Counting(5)), Failed(CKR_FUNCTION_FAILED)) << "the block exceeds the modulus";
    EXPECT_EQ(log.Take(), EncryptLines("6 CKR_FUNCTION_FAILED"));
}

TEST_F(EncryptTest, LogoutDoesNotEndIt)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    LoginUser(session);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(Encrypt(session, Counting(5)).result, CKR_OK);
}

TEST_F(EncryptTest, KeyThatLeavesWithItsCardIsHeld)
{
    InitializeWithTwoCards();
    const CK_OBJECT_HANDLE key = CreateKey(OpenSession(ordinarySlot), TestKey(3));
    const CK_SESSION_HANDLE session = OpenSession(4);
    ASSERT_EQ(EncryptInit(session, key), CKR_OK);
    script->RemoveCard(readerA);
    ProcessEvents();
    EXPECT_EQ(EncryptLength(session).length, 256U);
    ExpectBlock(BlockOf(Encrypt(session, Counting(5))), 256, Counting(5));
    EXPECT_EQ(EncryptInit(session, key), CKR_OK);
    EXPECT_EQ(Encrypt(session, Counting(5)), Failed(CKR_FUNCTION_FAILED)) << "it cannot be found again";
}

TEST_F(EncryptTest, SessionGoesWithItsCard)
{
    const CK_SESSION_HANDLE session = StartEncrypting();
    script->RemoveCard(readerA);
    ProcessEvents();
    EXPECT_EQ(Encrypt(session, Counting(5)), Failed(CKR_SESSION_HANDLE_INVALID));
    EXPECT_EQ(EncryptInit(session, firstPublicKey), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(EncryptTest, InitLogsWhatItFindsAndNoLeavingLineOfItsOwn)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartSession();
    const CK_OBJECT_HANDLE key = CreateKey(session, TestKey(3));
    log.Forget();
    EXPECT_EQ(EncryptInit(session, key), CKR_OK);
    EXPECT_EQ(log.Take(), Framed("C_EncryptInit", {encryptInitLine + "private key found",
                                                   encryptInitLine + "private key has Encrypt attribute"}));
}

TEST_F(EncryptTest, InitLogsTheRefusalsThatItDoesNotAnswer)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    const std::string manager = "EncryptionManager::Init";
    log.Forget();
    EncryptInit(session, 99, CKM_SHA_1);
    EXPECT_EQ(log.Take(), Framed("C_EncryptInit", {LeavingLine(manager, "70 CKR_MECHANISM_INVALID")}));
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 4};
    f->C_EncryptInit(session, &mechanism, 99);
    EXPECT_EQ(log.Take(), Framed("C_EncryptInit", {LeavingLine(manager, "71 CKR_MECHANISM_PARAM_INVALID")}));
    EncryptInit(session, 99);
    EXPECT_EQ(log.Take(), Framed("C_EncryptInit", {LeavingLine(manager, "60 CKR_KEY_HANDLE_INVALID")}));
    EncryptInit(session, firstCertificate);
    EXPECT_EQ(log.Take(),
              Framed("C_EncryptInit", {encryptInitLine + "private key found",
                                       encryptInitLine + "private key has no Encrypt attribute set",
                                       LeavingLine(manager, "68 CKR_KEY_FUNCTION_NOT_PERMITTED")}));
}

TEST_F(EncryptTest, EncryptLogsBothLooksAtTheLength)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartEncrypting();
    log.Forget();
    EncryptLength(session);
    EXPECT_EQ(log.Take(), Framed("C_Encrypt", {encryptLengthLine}, "0 CKR_OK"));
    Encrypt(session, Counting(5));
    EXPECT_EQ(log.Take(), EncryptLines("0 CKR_OK"));
    Encrypt(session, Counting(246));
    EXPECT_EQ(log.Take(), EncryptLines("21 CKR_DATA_LEN_RANGE"));
}

TEST_F(EncryptTest, RefusalsBeforeTheManagerLogTheFrameOnly)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartSession();
    log.Forget();
    Encrypt(99, {});
    EXPECT_EQ(log.Take(), Framed("C_Encrypt", {}, "b3 CKR_SESSION_HANDLE_INVALID"));
    Encrypt(session, {});
    EXPECT_EQ(log.Take(), Framed("C_Encrypt", {}, "91 CKR_OPERATION_NOT_INITIALIZED"));
    EncryptInit(session, 99);
    log.Forget();
    EncryptLength(session);
    EXPECT_EQ(log.Take(), Framed("C_Encrypt", {encryptLengthLine}, "6 CKR_FUNCTION_FAILED"));
    Encrypt(session, {});
    EXPECT_EQ(log.Take(), EncryptLines("6 CKR_FUNCTION_FAILED"));
}

} // namespace
} // namespace blackbox
