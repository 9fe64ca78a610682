// When a signature can be started and made, and what stays active after each answer.
#include "tests/blackbox/sign_helpers.h"

#include "tests/support/mutex_callbacks.h"

namespace blackbox {
namespace {

using SignStateTest = SigningTest;

const std::string signInitLine = "DBG SignManager::Init: SignManager::Init ";
const Texts initBegin{signInitLine + "called", "DBG SignManager::Reset: SignManager::Reset called",
                      "DBG SignManager::Reset: SignManager::Reset end",
                      signInitLine + "going to retrieve private key"};

TEST_F(SignStateTest, BothFunctionsBeforeTheStartAreRefused)
{
    CK_ULONG length = untouchedLength;
    EXPECT_EQ(f->C_SignInit(1, nullptr, 1), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Sign(1, nullptr, 0, nullptr, &length), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Sign(1, nullptr, 0, nullptr, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(length, untouchedLength);
}

TEST_F(SignStateTest, UnknownSessionIsCheckedFirst)
{
    Initialize();
    EXPECT_EQ(f->C_SignInit(1, nullptr, 99), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(f->C_Sign(1, nullptr, 0, nullptr, nullptr), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(SignStateTest, UnknownSessionIsCheckedUnderTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    const Texts locked{"LockMutex(1)", "UnlockMutex(1)"};
    EXPECT_EQ(f->C_SignInit(1, nullptr, 99), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), locked);
    EXPECT_EQ(f->C_Sign(1, nullptr, 0, nullptr, nullptr), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), locked);
}

TEST_F(SignStateTest, LockIsHeldAcrossTheKeyboardAndTheSignature)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(CertifiedCard(), &arguments);
    const CK_SESSION_HANDLE session = OpenSession(qualifiedSlot);
    LoginUser(session);
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->ForgetCalls();
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", openKeyboard, SignCall("QES", hash), "UnlockMutex(1)"}));
}

TEST_F(SignStateTest, InitLogsEachOfItsStepsAndAsksTheCardNothing)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    log.Forget();
    EXPECT_EQ(SignInit(session), CKR_OK);
    EXPECT_EQ(log.Take(),
              Framed("C_SignInit",
                     initBegin + Texts{signInitLine + "private key found",
                                       signInitLine + "going to retrieve CKA_SIGN attribute",
                                       signInitLine + "going to retrieve CKA_MODULUS_BITS attribute",
                                       signInitLine + "going to retrieve "
                                                      "CKA_ALWAYS_AUTHENTICATE attribute"},
                     "0 CKR_OK"));
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(SignStateTest, UnknownKeyIsRefusedBeforeTheMechanismIsRead)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    log.Forget();
    EXPECT_EQ(f->C_SignInit(session, nullptr, 99), CKR_KEY_HANDLE_INVALID);
    EXPECT_EQ(log.Take(),
              Framed("C_SignInit",
                     initBegin + Texts{LeavingLine("SignManager::Init", "60 CKR_KEY_HANDLE_INVALID")},
                     "60 CKR_KEY_HANDLE_INVALID"));
    ExpectIdle(session);
    EXPECT_EQ(SignInit(session), CKR_OK);
}

TEST_F(SignStateTest, MechanismIsRefusedBehindTheKey)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    log.Forget();
    EXPECT_EQ(SignInit(session, firstPrivateKey, CKM_ECDSA), CKR_MECHANISM_INVALID);
    EXPECT_EQ(log.Take(),
              Framed("C_SignInit",
                     initBegin + Texts{signInitLine + "private key found",
                                       LeavingLine("SignManager::Init", "70 CKR_MECHANISM_INVALID")},
                     "70 CKR_MECHANISM_INVALID"));
    ExpectIdle(session);
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
}

TEST_F(SignStateTest, KeyThatMayNotSignIsRefusedLast)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    log.Forget();
    EXPECT_EQ(SignInit(session, firstCertificate), CKR_KEY_FUNCTION_NOT_PERMITTED);
    EXPECT_EQ(log.Take(),
              Framed("C_SignInit",
                     initBegin + Texts{signInitLine + "private key found",
                                       signInitLine + "going to retrieve CKA_SIGN attribute",
                                       LeavingLine("SignManager::Init", "68 CKR_KEY_FUNCTION_NOT_PERMITTED")},
                     "68 CKR_KEY_FUNCTION_NOT_PERMITTED"));
    ExpectIdle(session);
}

TEST_F(SignStateTest, SecondInitIsRefusedBeforeKeyAndMechanismAndTheFirstStaysGood)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    log.Forget();
    EXPECT_EQ(f->C_SignInit(session, nullptr, 99), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(log.Take(), Framed("C_SignInit", {}, "90 CKR_OPERATION_ACTIVE"));
    EXPECT_EQ(SignInit(session, firstPrivateKey + 1), CKR_OPERATION_ACTIVE);
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), (Texts{openKeyboard, SignCall("QES", hash)})) << "with the first key";
}

TEST_F(SignStateTest, SignWithoutAnInitIsRefusedAlsoForTheLength)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    log.Forget();
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_OPERATION_NOT_INITIALIZED));
    EXPECT_EQ(log.Take(), Framed("C_Sign", {}, "91 CKR_OPERATION_NOT_INITIALIZED"));
    ExpectIdle(session);
    EXPECT_EQ(f->C_Sign(session, nullptr, 0, nullptr, nullptr), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(TakeCalls(), Texts{});
}

TEST_F(SignStateTest, LengthQueryStaysActiveAndReadsNoData)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    log.Forget();
    CK_ULONG length = untouchedLength;
    EXPECT_EQ(f->C_Sign(session, nullptr, 77, nullptr, &length), CKR_OK);
    EXPECT_EQ(length, 128U);
    EXPECT_EQ(log.Take(), Framed("C_Sign", {}, "0 CKR_OK"));
    EXPECT_EQ(TakeCalls(), Texts{});
    ExpectActive(session);
    EXPECT_EQ(Sign(session, digestInfo), SignedByDefault());
}

TEST_F(SignStateTest, SignatureEndsTheOperation)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
    script->ForgetCalls();
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_OPERATION_NOT_INITIALIZED));
    EXPECT_EQ(TakeCalls(), Texts{});
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
}

TEST_F(SignStateTest, FailureOfTheSignatureEndsTheOperation)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    script->Next("QES_SignData", {.status = anyOtherStatus});
    EXPECT_EQ(InitAndSign(session, digestInfo), Failed(CKR_FUNCTION_FAILED));
    ExpectIdle(session);
    EXPECT_EQ(InitAndSign(session, DigestInfo(Counting(20))), Failed(CKR_FUNCTION_FAILED));
    ExpectIdle(session);
    EXPECT_EQ(InitAndSign(session, TextBytes("garbage")), Failed(CKR_FUNCTION_FAILED));
    ExpectIdle(session);
}

TEST_F(SignStateTest, LogoutResetsTheOperationOfItsSessionOnly)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard(), ordinarySlot);
    const CK_SESSION_HANDLE other = OpenSession(ordinarySlot);
    const CK_OBJECT_HANDLE key = firstPrivateKey + 1;
    ASSERT_EQ(SignInit(session, key), CKR_OK);
    ASSERT_EQ(SignInit(other, key), CKR_OK);
    log.Forget();
    EXPECT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(log.TakeOf("SignManager::Reset"), (Texts{"DBG SignManager::Reset: SignManager::Reset called",
                                                       "DBG SignManager::Reset: SignManager::Reset end"}));
    script->ForgetCalls();
    ExpectIdle(session);
    EXPECT_EQ(Sign(other, Counting(5)), SignedByDefault()) << "that is not logged in any more either";
    EXPECT_EQ(TakeCalls(), Texts{SignCall("ES", Counting(5))}) << "without a transaction of its own";
}

TEST_F(SignStateTest, NoLoginIsNeededWhereTheKeyIsKnown)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    EXPECT_EQ(f->C_Logout(session), CKR_OK);
    const CK_SESSION_HANDLE never = OpenSession(qualifiedSlot);
    EXPECT_EQ(StateOf(never), CKS_RO_PUBLIC_SESSION);
    script->ForgetCalls();
    EXPECT_EQ(InitAndSign(session, digestInfo), SignedByDefault());
    EXPECT_EQ(InitAndSign(never, digestInfo), SignedByDefault());
    const Texts once{openKeyboard, SignCall("QES", hash)};
    EXPECT_EQ(TakeCalls(), once + once);
}

TEST_F(SignStateTest, SessionsHaveTheirOperationsApart)
{
    Card card = CardWithOrdinaryKeys({1, 5});
    const CK_SESSION_HANDLE first = StartLoggedIn(std::move(card), ordinarySlot);
    const CK_SESSION_HANDLE second = OpenSession(ordinarySlot);
    ASSERT_EQ(SignInit(first, firstPrivateKey), CKR_OK);
    ExpectIdle(second);
    ASSERT_EQ(SignInit(second, firstPrivateKey + 1), CKR_OK);
    EXPECT_EQ(Sign(second, digestInfo), SignedByDefault());
    EXPECT_EQ(Sign(first, digestInfo), SignedByDefault());
    EXPECT_EQ(TakeCalls(), (Texts{SignCall("ES", hash), SignCall("ES", digestInfo)}));
}

TEST_F(SignStateTest, OperationDiesWithItsSessionWithoutACardCall)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    const CK_SESSION_HANDLE holder = OpenSession(qualifiedSlot);
    ASSERT_EQ(SignInit(session), CKR_OK);
    script->Next("QES_VerifyPin", {.status = userInputError});
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_FUNCTION_CANCELED)); // leaves its data behind
    script->ForgetCalls();
    EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(TakeCalls(), Texts{});
    EXPECT_EQ(Sign(session, digestInfo), Failed(CKR_SESSION_HANDLE_INVALID));
    ExpectIdle(holder);
}

TEST_F(SignStateTest, MultiPartAndRecoveryAreRefusedAndLeaveTheOperationActive)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(CertifiedCard());
    ASSERT_EQ(SignInit(session), CKR_OK);
    Bytes data = Counting(5);
    Bytes room(128);
    CK_ULONG length = untouchedLength;
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    EXPECT_EQ(f->C_SignUpdate(session, data.data(), 5), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(f->C_SignFinal(session, room.data(), &length), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(f->C_SignRecoverInit(session, &mechanism, firstPrivateKey), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(f->C_SignRecover(session, data.data(), 5, room.data(), &length), CKR_FUNCTION_NOT_SUPPORTED);
    EXPECT_EQ(length, untouchedLength);
    ExpectActive(session);
}

} // namespace
} // namespace blackbox
