// Checking signatures: when it can be started, what it takes, what it answers and logs.
#include "tests/blackbox/crypto_helpers.h"

#include "tests/support/mutex_callbacks.h"

#include <botan/auto_rng.h>
#include <botan/pubkey.h>

namespace blackbox {
namespace {

const std::string verifyInitLine = "DBG VerifyManager::Init: VerifyManager::Init ";
const std::string failedCheck = "6 CKR_FUNCTION_FAILED";
const Texts goodVerifyLines{LeavingLine("VerifyManager::Verify", "0 CKR_OK")};

class VerifyTest : public CryptoTest
{
protected:
    // A session that has begun to verify with a key object of test key 0.
    CK_SESSION_HANDLE StartVerifying()
    {
        const CK_SESSION_HANDLE session = StartSession();
        EXPECT_EQ(VerifyInit(session, CreateKey(session, TestKey(0))), CKR_OK);
        return session;
    }

    CK_RV VerifyPointers(CK_SESSION_HANDLE session, CK_BYTE_PTR data, CK_ULONG dataLength,
                         CK_BYTE_PTR signature, CK_ULONG signatureLength)
    {
        return f->C_Verify(session, data, dataLength, signature, signatureLength);
    }

    const SignedData good = SignWell(TestKey(0));
};

TEST_F(VerifyTest, BothFunctionsBeforeTheStartAreRefused)
{
    EXPECT_EQ(f->C_VerifyInit(1, nullptr, 1), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Verify(1, nullptr, 0, nullptr, 0), CKR_CRYPTOKI_NOT_INITIALIZED);
}

TEST_F(VerifyTest, UnknownSessionIsCheckedFirstUnderTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    const Texts locked{"LockMutex(1)", "UnlockMutex(1)"};
    EXPECT_EQ(f->C_VerifyInit(1, nullptr, 99), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), locked);
    EXPECT_EQ(f->C_Verify(1, nullptr, 0, nullptr, 0), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), locked);
}

TEST_F(VerifyTest, CheckIsMadeUnderTheLockAndWithoutTheCard)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard({}, &arguments);
    const CK_SESSION_HANDLE session = OpenSession(ordinarySlot);
    ASSERT_EQ(VerifyInit(session, CreateKey(session, TestKey(0))), CKR_OK);
    script->ForgetCalls();
    EXPECT_EQ(Verify(session, good), CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "UnlockMutex(1)"}));
}

TEST_F(VerifyTest, GoodSignatureOverADigestInfoIsAccepted)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    EXPECT_EQ(Verify(session, good), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(VerifyTest, GoodSignatureIsAcceptedOnEitherSlotWithoutALogin)
{
    const CK_SESSION_HANDLE session = StartSession(qualifiedSlot);
    ASSERT_EQ(VerifyInit(session, CreateKey(session, TestKey(0))), CKR_OK);
    EXPECT_EQ(Verify(session, good), CKR_OK);
}

TEST_F(VerifyTest, BytesThatAreNoDigestInfoAreComparedAsTheyStand)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    Botan::AutoSeeded_RNG random;
    Botan::PK_Signer signer(TestKey(0), random, "EMSA3(Raw)");
    size_t accepted = 0;
    for (const size_t length : {1U, 20U, 35U, 36U, 117U}) {
        const Bytes data = Counting(length, 7);
        const Bytes signature = signer.sign_message(data, random);
        const CK_RV expected = signature.front() == 0 ? CKR_ARGUMENTS_BAD : CKR_OK;
        EXPECT_EQ(Verify(session, data, signature), expected) << length;
        accepted += expected == CKR_OK ? 1 : 0;
    }
    EXPECT_GT(accepted, 0U);
}

TEST_F(VerifyTest, SignatureOfTheDocumentsHashNeedsTheDigestInfoAsData)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    const Bytes bareHash(good.data.end() - 32, good.data.end());
    EXPECT_EQ(Verify(session, bareHash, good.signature), CKR_FUNCTION_FAILED);
}

TEST_F(VerifyTest, FlippedBitFailsTheFunction)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    for (size_t bit = 0; bit < 8 * good.signature.size(); ++bit) {
        Bytes signature = good.signature;
        signature[bit / 8] = static_cast<uint8_t>(signature[bit / 8] ^ (1U << bit % 8));
        const CK_RV expected = signature.front() == 0 ? CKR_ARGUMENTS_BAD : CKR_FUNCTION_FAILED;
        ASSERT_EQ(Verify(session, good.data, signature), expected) << "bit " << bit;
    }
    EXPECT_EQ(Verify(session, good), CKR_OK);
}

TEST_F(VerifyTest, FlippedBitOfTheDataFailsTheFunction)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    for (size_t bit = 0; bit < 8 * good.data.size(); ++bit) {
        Bytes data = good.data;
        data[bit / 8] = static_cast<uint8_t>(data[bit / 8] ^ (1U << bit % 8));
        ASSERT_EQ(Verify(session, data, good.signature), CKR_FUNCTION_FAILED) << "bit " << bit;
    }
}

TEST_F(VerifyTest, RepeatsWithTheSameKeyAfterSuccessAndFailure)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    Bytes bad = good.signature;
    bad.back() ^= 1U;
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(Verify(session, good), CKR_OK);
        EXPECT_EQ(Verify(session, good.data, bad), CKR_FUNCTION_FAILED);
    }
    EXPECT_EQ(Verify(session, good), CKR_OK);
}

TEST_F(VerifyTest, SignatureOfAnotherKeyIsRefused)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    EXPECT_EQ(Verify(session, SignWell(TestKey(1))), CKR_FUNCTION_FAILED);
}

TEST_F(VerifyTest, SecondInitIsRefusedForTheLifeOfTheSession)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    EXPECT_EQ(VerifyInit(session, 99), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(f->C_VerifyInit(session, nullptr, 99), CKR_OPERATION_ACTIVE) << "the mechanism is not read";
    EXPECT_EQ(Verify(session, good), CKR_OK);
    EXPECT_EQ(VerifyInit(session, firstPublicKey), CKR_OPERATION_ACTIVE);
    LoginUser(session);
    EXPECT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(VerifyInit(session, firstPublicKey), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(Verify(session, good), CKR_OK) << "a logout does not end it";
}

TEST_F(VerifyTest, AnotherSessionVerifiesWithAnotherKey)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    const CK_SESSION_HANDLE other = OpenSession(ordinarySlot);
    const CK_OBJECT_HANDLE otherKey = CreateKey(other, TestKey(1));
    EXPECT_EQ(Verify(other, good), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(VerifyInit(other, otherKey), CKR_OK);
    EXPECT_EQ(Verify(other, SignWell(TestKey(1))), CKR_OK);
    EXPECT_EQ(Verify(other, good), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good), CKR_OK);
}

TEST_F(VerifyTest, OtherActiveOperationsDoNotPreventInit)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    EXPECT_EQ(EncryptInit(session, firstPublicKey), CKR_OK);
    EXPECT_EQ(DecryptInit(session, firstPublicKey), CKR_OK);
    EXPECT_EQ(DigestInit(session, CKM_SHA_1), CKR_OK);
    EXPECT_EQ(FindInit(session), CKR_OK);
    EXPECT_EQ(Verify(session, good), CKR_OK);
}

TEST_F(VerifyTest, OtherMechanismLeavesTheSessionIdle)
{
    const CK_SESSION_HANDLE session = StartSession();
    const CK_OBJECT_HANDLE key = CreateKey(session, TestKey(0));
    for (const CK_MECHANISM_TYPE type : {0U, 0x40U, 0x220U, 0x1041U, 0xFFFFFFFFU}) {
        EXPECT_EQ(VerifyInit(session, key, type), CKR_MECHANISM_INVALID) << type;
        EXPECT_EQ(Verify(session, good), CKR_OPERATION_NOT_INITIALIZED);
    }
    EXPECT_EQ(VerifyInit(session, key), CKR_OK);
    EXPECT_EQ(Verify(session, good), CKR_OK);
}

TEST_F(VerifyTest, MechanismIsRefusedBeforeItsParameterAndTheKey)
{
    const CK_SESSION_HANDLE session = StartSession();
    CK_BYTE parameter = 0;
    CK_MECHANISM mechanism{CKM_SHA256_RSA_PKCS, &parameter, 1};
    EXPECT_EQ(f->C_VerifyInit(session, &mechanism, 99), CKR_MECHANISM_INVALID);
}

TEST_F(VerifyTest, ParameterIsRefusedBeforeTheKeyAndLeavesTheSessionIdle)
{
    const CK_SESSION_HANDLE session = StartSession();
    CK_BYTE parameter = 0;
    for (CK_MECHANISM mechanism :
         {CK_MECHANISM{CKM_RSA_PKCS, &parameter, 1}, CK_MECHANISM{CKM_RSA_PKCS, &parameter, 0},
          CK_MECHANISM{CKM_RSA_PKCS, nullptr, 1}}) {
        EXPECT_EQ(f->C_VerifyInit(session, &mechanism, 99), CKR_MECHANISM_PARAM_INVALID);
        EXPECT_EQ(Verify(session, good), CKR_OPERATION_NOT_INITIALIZED);
    }
    EXPECT_EQ(VerifyInit(session, CreateKey(session, TestKey(0))), CKR_OK);
}

TEST_F(VerifyTest, UnknownKeyLeavesTheOperationActiveWithoutOne)
{
    const CK_SESSION_HANDLE session = StartSession();
    EXPECT_EQ(VerifyInit(session, 99), CKR_KEY_HANDLE_INVALID);
    EXPECT_EQ(VerifyInit(session, CreateKey(session, TestKey(0))), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(Verify(session, good), CKR_FUNCTION_FAILED);
    EXPECT_EQ(Verify(session, good), CKR_FUNCTION_FAILED);
}

TEST_F(VerifyTest, FalseVerifyAttributePasses)
{
    const CK_SESSION_HANDLE session = StartSession();
    Template records;
    records.Add(CKA_MODULUS, BigEndian(TestKey(0).get_n()))
        .Add(CKA_PUBLIC_EXPONENT, BigEndian(TestKey(0).get_e()))
        .Flag(CKA_VERIFY, CK_FALSE);
    CK_OBJECT_HANDLE key = 0;
    ASSERT_EQ(Create(session, records, &key), CKR_OK);
    EXPECT_EQ(VerifyInit(session, key), CKR_OK);
    EXPECT_EQ(Verify(session, good), CKR_OK);
}

TEST_F(VerifyTest, KeyWithoutPermissionIsRefusedAndVerifiesAllTheSame)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard()); // its private key is test key 0
    EXPECT_EQ(VerifyInit(session, firstPrivateKey), CKR_KEY_FUNCTION_NOT_PERMITTED);
    EXPECT_EQ(VerifyInit(session, firstPrivateKey), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(Verify(session, good), CKR_OK);
    EXPECT_EQ(Verify(session, SignWell(TestKey(1))), CKR_FUNCTION_FAILED);
}

TEST_F(VerifyTest, ObjectWithoutModulusFailsTheFunctionAndLogsWhy)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(VerifyInit(session, firstCertificate), CKR_KEY_FUNCTION_NOT_PERMITTED);
    log.Forget();
    EXPECT_EQ(Verify(session, good), CKR_FUNCTION_FAILED);
    EXPECT_EQ(log.Take(),
              Framed("C_Verify", {LeavingLine("VerifyManager::Verify", "12 CKR_ATTRIBUTE_TYPE_INVALID")},
                     failedCheck));
}

TEST_F(VerifyTest, PartsThatMakeNoKeyFailTheFunction)
{
    LogCapture log(script);
    const Bytes modulus = BigEndian(TestKey(0).get_n());
    Bytes even = modulus;
    even.back() ^= 1U;
    InitializeWithCard();
    for (const auto& [ownModulus, exponent] : std::vector<std::pair<Bytes, Bytes>>{
             {even, {1, 0, 1}}, {modulus, {2}}, {{}, {1, 0, 1}}, {modulus, {}}, {{0, 0}, {0}}}) {
        const CK_SESSION_HANDLE session = OpenSession(ordinarySlot);
        ASSERT_EQ(VerifyInit(session, CreateKey(session, ownModulus, exponent)), CKR_OK);
        log.Forget();
        EXPECT_EQ(Verify(session, good), CKR_FUNCTION_FAILED);
        EXPECT_EQ(log.Take(),
                  Framed("C_Verify", {LeavingLine("VerifyManager::Verify", failedCheck)}, failedCheck));
        EXPECT_EQ(Verify(session, good), CKR_FUNCTION_FAILED) << "nothing half made is kept";
    }
}

TEST_F(VerifyTest, LeadingZerosOfTheModulusDoNotMatter)
{
    const CK_SESSION_HANDLE session = StartSession();
    const Bytes modulus = Bytes{0, 0} + BigEndian(TestKey(0).get_n());
    ASSERT_EQ(VerifyInit(session, CreateKey(session, modulus, {0, 1, 0, 1})), CKR_OK);
    EXPECT_EQ(Verify(session, good), CKR_OK);
    EXPECT_EQ(Verify(session, SignWell(TestKey(1))), CKR_FUNCTION_FAILED);
}

TEST_F(VerifyTest, VerifyWithoutInitIsRefusedBeforeItsArguments)
{
    const CK_SESSION_HANDLE session = StartSession();
    EXPECT_EQ(VerifyPointers(session, nullptr, 0, nullptr, 0), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(Verify(session, good), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(VerifyTest, BadArgumentsAreRefused)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    Bytes data = good.data;
    Bytes signature = good.signature;
    const auto dataLength = static_cast<CK_ULONG>(data.size());
    const auto length = static_cast<CK_ULONG>(signature.size());
    EXPECT_EQ(VerifyPointers(session, nullptr, dataLength, signature.data(), length), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(VerifyPointers(session, data.data(), 0, signature.data(), length), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(VerifyPointers(session, data.data(), dataLength, nullptr, length), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(VerifyPointers(session, data.data(), 0, nullptr, 0), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(Verify(session, good), CKR_OK) << "the operation goes on";
}

TEST_F(VerifyTest, SignatureThatBeginsWithZeroIsABadArgumentWhateverItsLength)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    Bytes data = good.data;
    Bytes signature(good.signature.size(), 0x5A);
    signature.front() = 0;
    const auto dataLength = static_cast<CK_ULONG>(data.size());
    for (const CK_ULONG length : {0U, 1U, 64U, 128U}) {
        EXPECT_EQ(VerifyPointers(session, data.data(), dataLength, signature.data(), length),
                  CKR_ARGUMENTS_BAD);
    }
}

TEST_F(VerifyTest, EmptySignatureThatDoesNotBeginWithZeroFailsTheFunction)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    Bytes data = good.data;
    Bytes signature{1};
    EXPECT_EQ(VerifyPointers(session, data.data(), static_cast<CK_ULONG>(data.size()), signature.data(), 0),
              CKR_FUNCTION_FAILED);
}

// About every 256th signature begins with a zero. It is refused as it stands, and Botan, which compares
// numbers, takes it without the zero.
TEST_F(VerifyTest, GoodSignatureThatBeginsWithZeroIsRefusedAndPassesWithoutIt)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    for (uint32_t attempt = 0;; ++attempt) {
        ASSERT_LT(attempt, 20000U);
        const Bytes data = DigestInfo(NumberBytes(attempt) + Counting(28));
        const Bytes signature = PrivateOperation(TestKey(0), SignatureBlock(128, data));
        if (signature[0] == 0 && signature[1] != 0) {
            EXPECT_EQ(Verify(session, data, signature), CKR_ARGUMENTS_BAD);
            EXPECT_EQ(Verify(session, data, Bytes(signature.begin() + 1, signature.end())), CKR_OK);
            return;
        }
    }
}

TEST_F(VerifyTest, CardOnWhichTheSessionHangsMustStillBeThere)
{
    const CK_SESSION_HANDLE session = StartVerifying();
    EXPECT_EQ(Verify(session, good), CKR_OK);
    script->RemoveCard(readerA);
    ProcessEvents();
    EXPECT_EQ(Verify(session, good), CKR_SESSION_HANDLE_INVALID) << "the session has gone with its card";
    EXPECT_EQ(VerifyInit(session, firstPublicKey), CKR_SESSION_HANDLE_INVALID);
}

class VerifyKeyRemovalTest : public VerifyTest
{
protected:
    // The key lies on the first card, the session that verifies hangs on the second one.
    CK_SESSION_HANDLE StartWithKeyOnAnotherCard()
    {
        InitializeWithTwoCards();
        const CK_OBJECT_HANDLE key = CreateKey(OpenSession(ordinarySlot), TestKey(0));
        const CK_SESSION_HANDLE session = OpenSession(4);
        EXPECT_EQ(VerifyInit(session, key), CKR_OK);
        return session;
    }

    void RemoveFirstCard()
    {
        script->RemoveCard(readerA);
        ProcessEvents();
    }
};

TEST_F(VerifyKeyRemovalTest, KeyThatLeavesBeforeItsFirstUseIsHeld)
{
    const CK_SESSION_HANDLE session = StartWithKeyOnAnotherCard();
    RemoveFirstCard();
    EXPECT_EQ(Read(session, firstPublicKey, CKA_MODULUS).result, CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(Verify(session, good), CKR_OK);
    EXPECT_EQ(Verify(session, good), CKR_OK);
}

TEST_F(VerifyKeyRemovalTest, KeyThatLeavesBetweenTwoUsesIsHeld)
{
    const CK_SESSION_HANDLE session = StartWithKeyOnAnotherCard();
    EXPECT_EQ(Verify(session, good), CKR_OK);
    RemoveFirstCard();
    EXPECT_EQ(Verify(session, good), CKR_OK);
    EXPECT_EQ(Verify(session, SignWell(TestKey(1))), CKR_FUNCTION_FAILED);
}

TEST_F(VerifyTest, InitLogsWhatItFinds)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartSession();
    const CK_OBJECT_HANDLE key = CreateKey(session, TestKey(0));
    log.Forget();
    EXPECT_EQ(VerifyInit(session, key), CKR_OK);
    EXPECT_EQ(log.Take(), Framed("C_VerifyInit",
                                 {verifyInitLine + "private key found",
                                  verifyInitLine + "private key has Verify attribute"},
                                 "0 CKR_OK"));
    EXPECT_EQ(VerifyInit(session, key), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(log.Take(), Framed("C_VerifyInit", {}, "90 CKR_OPERATION_ACTIVE"));
}

TEST_F(VerifyTest, InitLogsItsRefusals)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    const auto expectRefusal = [&](const Texts& lines, const std::string& result) {
        EXPECT_EQ(log.Take(),
                  Framed("C_VerifyInit", lines + Texts{LeavingLine("VerifyManager::Init", result)}, result));
    };
    log.Forget();
    VerifyInit(session, firstPrivateKey, CKM_ECDSA);
    expectRefusal({}, "70 CKR_MECHANISM_INVALID");
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 4};
    f->C_VerifyInit(session, &mechanism, firstPrivateKey);
    expectRefusal({}, "71 CKR_MECHANISM_PARAM_INVALID");
    VerifyInit(session, 99);
    expectRefusal({}, "60 CKR_KEY_HANDLE_INVALID");
    const CK_SESSION_HANDLE other = OpenSession(qualifiedSlot);
    log.Forget();
    VerifyInit(other, firstPrivateKey);
    expectRefusal(
        {verifyInitLine + "private key found", verifyInitLine + "private key has no Verify attribute set"},
        "68 CKR_KEY_FUNCTION_NOT_PERMITTED");
}

TEST_F(VerifyTest, FailedCheckLogsSuccessInsideAndFailureOutside)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartVerifying();
    log.Forget();
    EXPECT_EQ(Verify(session, good), CKR_OK);
    EXPECT_EQ(log.Take(), Framed("C_Verify", goodVerifyLines, "0 CKR_OK"));
    EXPECT_EQ(Verify(session, DigestInfo(Counting(32, 100)), good.signature), CKR_FUNCTION_FAILED);
    EXPECT_EQ(log.Take(), Framed("C_Verify", goodVerifyLines, failedCheck));
}

TEST_F(VerifyTest, RefusalsBeforeTheCheckLogTheFrameOnly)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartSession();
    log.Forget();
    Verify(99, good);
    EXPECT_EQ(log.Take(), Framed("C_Verify", {}, "b3 CKR_SESSION_HANDLE_INVALID"));
    Verify(session, good);
    EXPECT_EQ(log.Take(), Framed("C_Verify", {}, "91 CKR_OPERATION_NOT_INITIALIZED"));
    VerifyInit(session, CreateKey(session, TestKey(0)));
    log.Forget();
    VerifyPointers(session, nullptr, 0, nullptr, 0);
    EXPECT_EQ(log.Take(), Framed("C_Verify", {}, "7 CKR_ARGUMENTS_BAD"));
}

TEST_F(VerifyTest, CheckWithoutAKeyLogsItsFailure)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartSession();
    VerifyInit(session, 99);
    log.Forget();
    EXPECT_EQ(Verify(session, good), CKR_FUNCTION_FAILED);
    EXPECT_EQ(log.Take(),
              Framed("C_Verify", {LeavingLine("VerifyManager::Verify", failedCheck)}, failedCheck));
}

} // namespace
} // namespace blackbox
