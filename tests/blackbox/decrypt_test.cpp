// Decrypting with the card: what the card is handed, what comes back, and what stays active.
#include "tests/blackbox/crypto_helpers.h"

#include "tests/support/mutex_callbacks.h"

namespace blackbox {
namespace {

constexpr CK_OBJECT_HANDLE ordinaryKey = firstPrivateKey + 1; // of CertifiedCard, test key 1
constexpr size_t keyLength = 128;

const std::string decryptInitLine = "DBG DecryptionManager::Init: DecryptionManager::Init ";
const std::string decryptLengthLine =
    "DBG DecryptionManager::GetLength: DecryptionManager::GetLength going to "
    "retrieve CKA_MODULUS_BITS attribute";
const std::string noCertificateLine = "DBG DecryptionManager::Decrypt: DecryptionManager::Decrypt cannot "
                                      "find certificate to private key handle";

Texts ManagerLeaves(const std::string& result)
{
    return {LeavingLine("DecryptionManager::Decrypt", result)};
}

class DecryptTest : public CryptoTest
{
protected:
    // Logged in on the ordinary slot of CertifiedCard, a decryption begun with its key.
    CK_SESSION_HANDLE StartDecrypting()
    {
        const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
        EXPECT_EQ(DecryptInit(session, ordinaryKey), CKR_OK);
        return session;
    }

    // The one call of the card that the last decryption has made, which is then forgotten.
    scripted::CardCall TakeDecryptCall()
    {
        const auto calls = script->CallsOf("ES_DecryptData");
        EXPECT_EQ(calls.size(), 1U);
        EXPECT_EQ(script->Calls().size(), 1U) << "nothing else is asked of the card";
        script->ForgetCalls();
        return calls.empty() ? scripted::CardCall{} : calls.front();
    }

    const Bytes encrypted = Counting(keyLength, 10);
};

TEST_F(DecryptTest, BothFunctionsBeforeTheStartAreRefused)
{
    EXPECT_EQ(f->C_DecryptInit(1, nullptr, 1), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Decrypt(1, nullptr, 0, nullptr, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
}

TEST_F(DecryptTest, UnknownSessionIsCheckedFirstUnderTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    const Texts locked{"LockMutex(1)", "UnlockMutex(1)"};
    EXPECT_EQ(f->C_DecryptInit(1, nullptr, 99), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), locked);
    EXPECT_EQ(f->C_Decrypt(1, nullptr, 0, nullptr, nullptr), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), locked);
}

TEST_F(DecryptTest, LockIsHeldAcrossTheCardCallAndNoTransactionBegun)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(CertifiedCard(), &arguments);
    const CK_SESSION_HANDLE session = OpenSession(ordinarySlot);
    LoginUser(session);
    ASSERT_EQ(DecryptInit(session, ordinaryKey), CKR_OK);
    script->ForgetCalls();
    script->Next("ES_DecryptData", {.output = Counting(1)});
    EXPECT_EQ(Decrypt(session, {5}), Signed(Counting(1)));
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "ES_DecryptData(101, 8105, 2, 0)", "UnlockMutex(1)"}));
}

TEST_F(DecryptTest, CardIsHandedAPrefixAndTheDataAndRoomForBoth)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    script->Next("ES_DecryptData", {.output = Counting(20)});
    EXPECT_EQ(Decrypt(session, encrypted), Signed(Counting(20)));
    const scripted::CardCall call = TakeDecryptCall();
    EXPECT_EQ(call.session, 101U);
    EXPECT_EQ(call.data, Bytes{0x81} + encrypted);
    EXPECT_EQ(call.capacity, keyLength + 1);
    EXPECT_EQ(call.constants, std::vector<uint32_t>{0});
}

TEST_F(DecryptTest, DataOfAnyLengthGoToTheCard)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    for (const size_t count : {0U, 1U, 127U, 129U, 500U}) {
        script->Next("ES_DecryptData", {.output = Bytes{}});
        EXPECT_EQ(Decrypt(session, Counting(count)), Signed({})) << count;
        EXPECT_EQ(TakeDecryptCall().data, Bytes{0x81} + Counting(count));
    }
}

TEST_F(DecryptTest, OutputOfTheCardIsReturnedUnchanged)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    const Bytes padded = Bytes{0, 2} + Counting(20) + Bytes{0} + Counting(5);
    for (const Bytes& plain : {padded, Bytes{0}, Bytes{}, Counting(keyLength)}) {
        script->Next("ES_DecryptData", {.output = plain});
        EXPECT_EQ(Decrypt(session, encrypted), Signed(plain));
    }
}

TEST_F(DecryptTest, OutputBeyondTheBufferIsCut)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    EXPECT_EQ(Decrypt(session, encrypted),
              Signed(Bytes{0x81} + Bytes(encrypted.begin(), encrypted.end() - 1)))
        << "the card gives back one byte more than it has room for";
}

TEST_F(DecryptTest, SizeOfTheBufferIsNotRead)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    for (const CK_ULONG told : {0U, 1U, 0xFFFFFFFFU}) {
        script->Next("ES_DecryptData", {.output = Counting(20)});
        Bytes data = encrypted;
        Bytes room(20);
        CK_ULONG length = told;
        EXPECT_EQ(f->C_Decrypt(session, data.data(), keyLength, room.data(), &length), CKR_OK);
        EXPECT_EQ(length, 20U);
        EXPECT_EQ(room, Counting(20));
    }
}

TEST_F(DecryptTest, LengthQueryTellsTheModulusLengthWhateverTheInput)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    EXPECT_EQ(DecryptLength(session).length, keyLength);
    Bytes data = Counting(5);
    CK_ULONG length = 0;
    EXPECT_EQ(f->C_Decrypt(session, data.data(), 5, nullptr, &length), CKR_OK);
    EXPECT_EQ(length, keyLength);
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(DecryptTest, RepeatsWithTheSameKey)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    for (const uint8_t first : {uint8_t{1}, uint8_t{60}}) {
        script->Next("ES_DecryptData", {.output = Counting(20, first)});
        EXPECT_EQ(Decrypt(session, Counting(keyLength, first)), Signed(Counting(20, first)));
        EXPECT_EQ(TakeDecryptCall().data, Bytes{0x81} + Counting(keyLength, first));
    }
}

TEST_F(DecryptTest, FailureOfTheCardFailsTheFunctionAndEndsNothing)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    for (const CardStatus status : {CardStatus{1}, incorrectCode, userInputError, CardStatus{-1}}) {
        script->Next("ES_DecryptData", {.status = status, .outputs = scripted::Outputs::Always});
        EXPECT_EQ(Decrypt(session, encrypted), Failed(CKR_FUNCTION_FAILED)) << status;
    }
    script->Next("ES_DecryptData", {.output = Counting(20)});
    EXPECT_EQ(Decrypt(session, encrypted), Signed(Counting(20)));
}

TEST_F(DecryptTest, QualifiedKeyIsDecryptedWithInTheOrdinaryFamily)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(Read(session, firstPrivateKey, CKA_DECRYPT), Stored({CK_FALSE})) << "a false passes";
    EXPECT_EQ(DecryptInit(session, firstPrivateKey), CKR_OK);
    script->Next("ES_DecryptData", {.output = Counting(4)});
    EXPECT_EQ(Decrypt(session, encrypted), Signed(Counting(4)));
    EXPECT_EQ(TakeDecryptCall().constants, std::vector<uint32_t>{0});
}

TEST_F(DecryptTest, CertificateOfTheKeyGivesItsNumber)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys({1, 1, 1}), ordinarySlot);
    for (uint32_t position = 0; position < 3; ++position) {
        ASSERT_EQ(DecryptInit(session, firstPrivateKey + position), CKR_OK);
        script->Next("ES_DecryptData", {.output = Counting(4)});
        EXPECT_EQ(Decrypt(session, encrypted), Signed(Counting(4)));
        EXPECT_EQ(TakeDecryptCall().constants, std::vector<uint32_t>{position});
    }
}

TEST_F(DecryptTest, PublicKeyObjectWithTheIdOfACertificateDecryptsToo)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    ASSERT_EQ(DecryptInit(session, CreateKey(session, TestKey(3))), CKR_OK);
    EXPECT_EQ(DecryptLength(session).length, 256U) << "of its own modulus";
    script->Next("ES_DecryptData", {.output = Counting(4)});
    EXPECT_EQ(Decrypt(session, encrypted), Signed(Counting(4)));
}

TEST_F(DecryptTest, CertificateOfAnotherCardCountsToo)
{
    InitializeWithTwoCards(CertifiedCard());
    LoginUser(OpenSession(ordinarySlot));
    const CK_SESSION_HANDLE session = OpenSession(4);
    ASSERT_EQ(DecryptInit(session, ordinaryKey), CKR_OK);
    script->ForgetCalls();
    script->Next("ES_DecryptData", {.output = Counting(1)});
    EXPECT_EQ(Decrypt(session, {7}), Signed(Counting(1)));
    EXPECT_EQ(TakeCalls(), Texts{"ES_DecryptData(102, 8107, 2, 0)"}) << "the session's card decrypts";
}

TEST_F(DecryptTest, KeyWithoutACertificateFailsTheFunctionAndLogsWhy)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartSession();
    ASSERT_EQ(DecryptInit(session, CreateKey(session, TestKey(0))), CKR_OK);
    log.Forget();
    script->ForgetCalls();
    EXPECT_EQ(Decrypt(session, encrypted), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(log.Take(),
              Framed("C_Decrypt", Texts{noCertificateLine} + ManagerLeaves("60 CKR_KEY_HANDLE_INVALID"),
                     "6 CKR_FUNCTION_FAILED"));
    EXPECT_EQ(TakeCalls(), Texts{});
    EXPECT_EQ(DecryptLength(session).length, keyLength);
}

TEST_F(DecryptTest, CertificateOfTheOtherFamilyIsNoMatch)
{
    Card card = CertifiedCard();
    card.es.clear();
    const CK_SESSION_HANDLE session = StartLoggedIn(std::move(card), ordinarySlot);
    ASSERT_EQ(DecryptInit(session, CreateKey(session, TestKey(0))), CKR_OK);
    EXPECT_EQ(Decrypt(session, encrypted), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(DecryptTest, KeyOfARemovedCardHasNoCertificate)
{
    InitializeWithTwoCards(CertifiedCard());
    LoginUser(OpenSession(ordinarySlot));
    const CK_SESSION_HANDLE session = OpenSession(4);
    ASSERT_EQ(DecryptInit(session, ordinaryKey), CKR_OK);
    script->RemoveCard(readerA);
    ProcessEvents();
    EXPECT_EQ(DecryptLength(session).length, keyLength) << "the key itself is held";
    EXPECT_EQ(Decrypt(session, encrypted), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(script->CallsOf("ES_DecryptData").size(), 0U);
}

TEST_F(DecryptTest, CardRemovedDuringTheDecryptionStillReturnsThePlainText)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    script->Next("ES_DecryptData", {.hook =
                                        [this] {
                                            script->RemoveCard(readerA);
                                            ProcessEvents();
                                            script->Note("the card has left");
                                        },
                                    .output = Counting(1)});
    EXPECT_EQ(Decrypt(session, {5}), Signed(Counting(1)));
    EXPECT_EQ(TakeCalls(), (Texts{"ES_DecryptData(101, 8105, 2, 0)", "the card has left",
                                  "StopTransaction(101)", "CloseSession(101)"}));
    EXPECT_EQ(Decrypt(session, {5}), Failed(CKR_SESSION_HANDLE_INVALID));
    EXPECT_EQ(DecryptInit(session, ordinaryKey), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(DecryptTest, InitAnswersOkForAnotherMechanismAndStaysIdle)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    for (const CK_MECHANISM_TYPE type : {CKM_SHA_1, CKM_SHA256_RSA_PKCS, 0U}) {
        EXPECT_EQ(DecryptInit(session, ordinaryKey, type), CKR_OK);
        EXPECT_EQ(Decrypt(session, encrypted), Failed(CKR_OPERATION_NOT_INITIALIZED));
        EXPECT_EQ(DecryptLength(session), Failed(CKR_OPERATION_NOT_INITIALIZED));
    }
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(DecryptTest, InitAnswersOkForAParameterAndStaysIdle)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    CK_BYTE parameter = 0;
    for (CK_MECHANISM mechanism :
         {CK_MECHANISM{CKM_RSA_PKCS, &parameter, 0}, CK_MECHANISM{CKM_RSA_PKCS, nullptr, 1}}) {
        EXPECT_EQ(f->C_DecryptInit(session, &mechanism, ordinaryKey), CKR_OK);
        EXPECT_EQ(Decrypt(session, encrypted), Failed(CKR_OPERATION_NOT_INITIALIZED));
    }
}

TEST_F(DecryptTest, DecryptWithoutInitIsRefusedBeforeItsArguments)
{
    const CK_SESSION_HANDLE session = StartSession();
    EXPECT_EQ(f->C_Decrypt(session, nullptr, 0, nullptr, nullptr), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(DecryptTest, SecondInitReplacesTheKey)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CardWithOrdinaryKeys({1, 1}), ordinarySlot);
    EXPECT_EQ(DecryptInit(session, firstPrivateKey), CKR_OK);
    EXPECT_EQ(DecryptInit(session, firstPrivateKey + 1), CKR_OK);
    script->Next("ES_DecryptData", {.output = Counting(4)});
    EXPECT_EQ(Decrypt(session, encrypted), Signed(Counting(4)));
    EXPECT_EQ(TakeDecryptCall().constants, std::vector<uint32_t>{1});
}

TEST_F(DecryptTest, BadInitEndsTheGoodOneBefore)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    EXPECT_EQ(DecryptInit(session, ordinaryKey, CKM_SHA_1), CKR_OK);
    EXPECT_EQ(Decrypt(session, encrypted), Failed(CKR_OPERATION_NOT_INITIALIZED));
}

TEST_F(DecryptTest, UnknownKeyLeavesAnOperationThatFails)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    EXPECT_EQ(DecryptInit(session, 99), CKR_OK);
    EXPECT_EQ(DecryptLength(session), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(Decrypt(session, encrypted), Failed(CKR_FUNCTION_FAILED));
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(DecryptTest, RefusedKeyReplacesTheOneBefore)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    for (const CK_OBJECT_HANDLE refused : {CK_OBJECT_HANDLE{99}, firstCertificate}) {
        ASSERT_EQ(DecryptInit(session, ordinaryKey), CKR_OK);
        EXPECT_EQ(DecryptInit(session, refused), CKR_OK);
        EXPECT_EQ(DecryptLength(session), Failed(CKR_FUNCTION_FAILED));
        EXPECT_EQ(Decrypt(session, encrypted), Failed(CKR_FUNCTION_FAILED));
    }
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(DecryptTest, LogoutDoesNotEndIt)
{
    const CK_SESSION_HANDLE session = StartDecrypting();
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    script->ForgetCalls();
    EXPECT_EQ(DecryptLength(session).length, keyLength);
    script->Next("ES_DecryptData", {.output = Counting(4)});
    EXPECT_EQ(Decrypt(session, encrypted), Signed(Counting(4))) << "whether it may is the card's to say";
}

TEST_F(DecryptTest, InitLogsWhatItFindsAndItsLeavingLine)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    log.Forget();
    EXPECT_EQ(DecryptInit(session, ordinaryKey), CKR_OK);
    EXPECT_EQ(log.Take(), Framed("C_DecryptInit", {decryptInitLine + "private key found",
                                                   decryptInitLine + "private key has Decrypt attribute",
                                                   LeavingLine("DecryptionManager::Init", "0 CKR_OK")}));
}

TEST_F(DecryptTest, InitLogsTheRefusalsThatItDoesNotAnswer)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    const std::string manager = "DecryptionManager::Init";
    log.Forget();
    DecryptInit(session, 99, CKM_SHA_1);
    EXPECT_EQ(log.Take(), Framed("C_DecryptInit", {LeavingLine(manager, "70 CKR_MECHANISM_INVALID")}));
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 4};
    f->C_DecryptInit(session, &mechanism, 99);
    EXPECT_EQ(log.Take(), Framed("C_DecryptInit", {LeavingLine(manager, "71 CKR_MECHANISM_PARAM_INVALID")}));
    DecryptInit(session, 99);
    EXPECT_EQ(log.Take(), Framed("C_DecryptInit", {LeavingLine(manager, "60 CKR_KEY_HANDLE_INVALID")}));
    DecryptInit(session, firstCertificate);
    EXPECT_EQ(log.Take(),
              Framed("C_DecryptInit", {decryptInitLine + "private key found",
                                       decryptInitLine + "private key has no Decrypt attribute set",
                                       LeavingLine(manager, "68 CKR_KEY_FUNCTION_NOT_PERMITTED")}));
}

TEST_F(DecryptTest, DecryptLogsItsManagersLeavingLine)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartDecrypting();
    log.Forget();
    DecryptLength(session);
    EXPECT_EQ(log.Take(), Framed("C_Decrypt", {decryptLengthLine}, "0 CKR_OK"));
    Decrypt(session, encrypted);
    EXPECT_EQ(log.Take(), Framed("C_Decrypt", ManagerLeaves("0 CKR_OK"), "0 CKR_OK"));
    script->Next("ES_DecryptData", {.status = anyOtherStatus});
    Decrypt(session, encrypted);
    EXPECT_EQ(log.Take(),
              Framed("C_Decrypt", ManagerLeaves("6 CKR_FUNCTION_FAILED"), "6 CKR_FUNCTION_FAILED"));
}

TEST_F(DecryptTest, RefusalsBeforeTheManagerLogTheFrameOnly)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartSession();
    log.Forget();
    Decrypt(99, {});
    EXPECT_EQ(log.Take(), Framed("C_Decrypt", {}, "b3 CKR_SESSION_HANDLE_INVALID"));
    Decrypt(session, {});
    EXPECT_EQ(log.Take(), Framed("C_Decrypt", {}, "91 CKR_OPERATION_NOT_INITIALIZED"));
    DecryptInit(session, 99);
    log.Forget();
    DecryptLength(session);
    EXPECT_EQ(log.Take(), Framed("C_Decrypt", {decryptLengthLine}, "6 CKR_FUNCTION_FAILED"));
}

} // namespace
} // namespace blackbox
