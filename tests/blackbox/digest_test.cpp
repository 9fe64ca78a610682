// Digests: the mechanisms, the lengths, what stays active, and what the card-access library hashes.
#include "tests/blackbox/crypto_helpers.h"

#include "tests/support/mutex_callbacks.h"

#include <botan/hash.h>

#include <algorithm>
#include <ostream>

namespace blackbox {
namespace {

constexpr CK_MECHANISM_TYPE md5 = 0x210;

Result HashedBy(const std::string& hash, const Bytes& data)
{
    const auto function = Botan::HashFunction::create_or_throw(hash);
    const auto digest = function->process(data);
    return Signed({digest.begin(), digest.end()});
}

struct Mechanism
{
    const char* name;
    CK_MECHANISM_TYPE type;
    const char* hash;
    CK_ULONG length;
};

std::ostream& operator<<(std::ostream& stream, const Mechanism& mechanism)
{
    return stream << mechanism.name;
}

using DigestTest = CryptoTest;

class DigestMechanismTest : public DigestTest, public ::testing::WithParamInterface<Mechanism>
{
};

TEST_P(DigestMechanismTest, TellsItsLength)
{
    const CK_SESSION_HANDLE session = StartSession();
    ASSERT_EQ(DigestInit(session, GetParam().type), CKR_OK);
    const Result length = DigestLength(session);
    EXPECT_EQ(length.result, CKR_OK);
    EXPECT_EQ(length.length, GetParam().length);
    EXPECT_EQ(TakeCalls(), Texts{}) << "nothing is hashed for it";
}

TEST_P(DigestMechanismTest, HashesDataOfEveryLengthAroundItsBlocks)
{
    const CK_SESSION_HANDLE session = StartSession();
    ASSERT_EQ(DigestInit(session, GetParam().type), CKR_OK);
    for (const size_t count : {0U, 1U, 55U, 56U, 63U, 64U, 65U, 111U, 112U, 127U, 128U, 129U, 10000U}) {
        EXPECT_EQ(Digest(session, Counting(count)), HashedBy(GetParam().hash, Counting(count))) << count;
    }
}

TEST_P(DigestMechanismTest, DigestOfNothingHasTheFullLength)
{
    const CK_SESSION_HANDLE session = StartSession();
    ASSERT_EQ(DigestInit(session, GetParam().type), CKR_OK);
    Bytes room(GetParam().length);
    CK_ULONG length = 0;
    EXPECT_EQ(f->C_Digest(session, nullptr, 0, room.data(), &length), CKR_OK);
    EXPECT_EQ(length, GetParam().length);
    EXPECT_EQ(room, HashedBy(GetParam().hash, {}).value);
}

TEST_P(DigestMechanismTest, ParameterIsNotRead)
{
    const CK_SESSION_HANDLE session = StartSession();
    CK_BYTE parameter = 0;
    CK_MECHANISM mechanism{GetParam().type, &parameter, 1};
    EXPECT_EQ(f->C_DigestInit(session, &mechanism), CKR_OK);
    EXPECT_EQ(Digest(session, Counting(3)), HashedBy(GetParam().hash, Counting(3)));
}

INSTANTIATE_TEST_SUITE_P(Each, DigestMechanismTest,
                         ::testing::Values(Mechanism{"Sha1", CKM_SHA_1, "SHA-1", 20},
                                           Mechanism{"Sha224", CKM_SHA224, "SHA-224", 28},
                                           Mechanism{"Sha256", CKM_SHA256, "SHA-256", 32},
                                           Mechanism{"Sha384", CKM_SHA384, "SHA-384", 48},
                                           Mechanism{"Sha512", CKM_SHA512, "SHA-512", 64}),
                         [](const auto& information) { return information.param.name; });

TEST_F(DigestTest, BothFunctionsBeforeTheStartAreRefused)
{
    EXPECT_EQ(f->C_DigestInit(1, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(f->C_Digest(1, nullptr, 0, nullptr, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
}

TEST_F(DigestTest, UnknownSessionIsCheckedFirstUnderTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    const Texts locked{"LockMutex(1)", "UnlockMutex(1)"};
    EXPECT_EQ(f->C_DigestInit(1, nullptr), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), locked);
    EXPECT_EQ(f->C_Digest(1, nullptr, 0, nullptr, nullptr), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(TakeCalls(), locked);
}

TEST_F(DigestTest, HashIsMadeUnderTheLockByTheCardAccessLibrary)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard({}, &arguments);
    const CK_SESSION_HANDLE session = OpenSession(ordinarySlot);
    ASSERT_EQ(DigestInit(session, CKM_SHA256), CKR_OK);
    script->ForgetCalls();
    EXPECT_EQ(Digest(session, {0xAB, 0}).length, 32U);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "Hash(ab00)", "UnlockMutex(1)"}));
}

TEST_F(DigestTest, NeedsNoLoginOnEitherSlot)
{
    InitializeWithCard();
    for (const CK_SLOT_ID slot : {qualifiedSlot, ordinarySlot}) {
        const CK_SESSION_HANDLE session = OpenSession(slot);
        ASSERT_EQ(DigestInit(session, CKM_SHA_1), CKR_OK);
        EXPECT_EQ(Digest(session, Counting(3)), HashedBy("SHA-1", Counting(3)));
    }
}

TEST_F(DigestTest, Sha224WorksThoughItIsNotListed)
{
    InitializeWithCard();
    CK_ULONG count = 0;
    ASSERT_EQ(f->C_GetMechanismList(ordinarySlot, nullptr, &count), CKR_OK);
    std::vector<CK_MECHANISM_TYPE> list(count);
    ASSERT_EQ(f->C_GetMechanismList(ordinarySlot, list.data(), &count), CKR_OK);
    EXPECT_EQ(std::count(list.begin(), list.end(), CKM_SHA224), 0);
    const CK_SESSION_HANDLE session = OpenSession(ordinarySlot);
    ASSERT_EQ(DigestInit(session, CKM_SHA224), CKR_OK);
    EXPECT_EQ(Digest(session, Counting(3)), HashedBy("SHA-224", Counting(3)));
}

TEST_F(DigestTest, UnknownMechanismFailsTheDigestAndNotTheInit)
{
    const CK_SESSION_HANDLE session = StartSession();
    for (const CK_MECHANISM_TYPE type :
         {md5, CKM_RSA_PKCS, CK_MECHANISM_TYPE{0x80000000}, CK_MECHANISM_TYPE{0}}) {
        EXPECT_EQ(DigestInit(session, type), CKR_OK);
        EXPECT_EQ(Digest(session, Counting(3)), Failed(CKR_OPERATION_NOT_INITIALIZED));
        EXPECT_EQ(DigestLength(session), Failed(CKR_OPERATION_NOT_INITIALIZED));
    }
}

TEST_F(DigestTest, BadInitEndsTheGoodOneBefore)
{
    const CK_SESSION_HANDLE session = StartSession();
    ASSERT_EQ(DigestInit(session, CKM_SHA256), CKR_OK);
    EXPECT_EQ(DigestInit(session, md5), CKR_OK);
    EXPECT_EQ(Digest(session, Counting(3)), Failed(CKR_OPERATION_NOT_INITIALIZED));
    ASSERT_EQ(DigestInit(session, CKM_SHA256), CKR_OK);
    EXPECT_EQ(Digest(session, Counting(3)), HashedBy("SHA-256", Counting(3)));
}

TEST_F(DigestTest, SecondMechanismCounts)
{
    const CK_SESSION_HANDLE session = StartSession();
    EXPECT_EQ(DigestInit(session, CKM_SHA256), CKR_OK);
    EXPECT_EQ(DigestInit(session, CKM_SHA384), CKR_OK);
    EXPECT_EQ(DigestLength(session).length, 48U);
    EXPECT_EQ(Digest(session, Counting(3)), HashedBy("SHA-384", Counting(3)));
}

TEST_F(DigestTest, RepeatsWithTheSameMechanism)
{
    const CK_SESSION_HANDLE session = StartSession();
    ASSERT_EQ(DigestInit(session, CKM_SHA512), CKR_OK);
    EXPECT_EQ(Digest(session, Counting(3)), HashedBy("SHA-512", Counting(3)));
    EXPECT_EQ(Digest(session, Counting(9)), HashedBy("SHA-512", Counting(9)));
}

TEST_F(DigestTest, LogoutEndsIt)
{
    const CK_SESSION_HANDLE session = StartSession();
    LoginUser(session);
    ASSERT_EQ(DigestInit(session, CKM_SHA256), CKR_OK);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(Digest(session, Counting(3)), Failed(CKR_OPERATION_NOT_INITIALIZED));
}

TEST_F(DigestTest, LogoutOfAnotherSessionDoesNotEndIt)
{
    const CK_SESSION_HANDLE session = StartSession();
    const CK_SESSION_HANDLE other = OpenSession(ordinarySlot);
    LoginUser(session);
    ASSERT_EQ(DigestInit(session, CKM_SHA256), CKR_OK);
    ASSERT_EQ(f->C_Logout(other), CKR_OK);
    EXPECT_EQ(Digest(session, Counting(3)).result, CKR_OK);
}

TEST_F(DigestTest, DigestWithoutInitIsRefusedBeforeItsArguments)
{
    const CK_SESSION_HANDLE session = StartSession();
    EXPECT_EQ(f->C_Digest(session, nullptr, 0, nullptr, nullptr), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(DigestTest, LengthQueryDoesNotLookAtTheData)
{
    const CK_SESSION_HANDLE session = StartSession();
    ASSERT_EQ(DigestInit(session, CKM_SHA384), CKR_OK);
    CK_ULONG length = 0;
    EXPECT_EQ(f->C_Digest(session, nullptr, 1000, nullptr, &length), CKR_OK);
    EXPECT_EQ(length, 48U);
}

TEST_F(DigestTest, SizeOfTheBufferIsNotRead)
{
    const CK_SESSION_HANDLE session = StartSession();
    ASSERT_EQ(DigestInit(session, CKM_SHA_1), CKR_OK);
    for (const CK_ULONG told : {0U, 19U, 0xFFFFFFFFU}) {
        Bytes data = Counting(3);
        Bytes room(20);
        CK_ULONG length = told;
        EXPECT_EQ(f->C_Digest(session, data.data(), 3, room.data(), &length), CKR_OK);
        EXPECT_EQ(length, 20U);
        EXPECT_EQ(room, HashedBy("SHA-1", data).value);
    }
}

TEST_F(DigestTest, HashOfAnotherLengthIsCutOrFilledWithZeros)
{
    const CK_SESSION_HANDLE session = StartSession();
    ASSERT_EQ(DigestInit(session, CKM_SHA_1), CKR_OK);
    script->Next("Hash", {.output = Counting(30)});
    EXPECT_EQ(Digest(session, {}), Signed(Counting(20)));
    script->Next("Hash", {.output = Counting(5)});
    EXPECT_EQ(Digest(session, {}), Signed(Counting(5) + Repeated(0, 15)));
}

TEST_F(DigestTest, OperationsOfTwoSessionsAreTheirOwn)
{
    const CK_SESSION_HANDLE session = StartSession();
    const CK_SESSION_HANDLE other = OpenSession(qualifiedSlot);
    ASSERT_EQ(DigestInit(session, CKM_SHA_1), CKR_OK);
    EXPECT_EQ(Digest(other, {}), Failed(CKR_OPERATION_NOT_INITIALIZED));
    ASSERT_EQ(DigestInit(other, CKM_SHA512), CKR_OK);
    EXPECT_EQ(Digest(session, {}).length, 20U);
    EXPECT_EQ(Digest(other, {}).length, 64U);
}

TEST_F(DigestTest, SessionGoesWithItsCard)
{
    const CK_SESSION_HANDLE session = StartSession();
    ASSERT_EQ(DigestInit(session, CKM_SHA_1), CKR_OK);
    script->RemoveCard(readerA);
    ProcessEvents();
    EXPECT_EQ(Digest(session, {}), Failed(CKR_SESSION_HANDLE_INVALID));
    EXPECT_EQ(DigestInit(session, CKM_SHA_1), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(DigestTest, LogHasTheManagersLinesBetweenThoseOfTheFrame)
{
    LogCapture log(script);
    const CK_SESSION_HANDLE session = StartSession();
    log.Forget();
    DigestInit(session, CKM_SHA256);
    EXPECT_EQ(log.Take(), Framed("C_DigestInit", {}));
    DigestLength(session);
    EXPECT_EQ(log.Take(), Framed("C_Digest", {}, "0 CKR_OK"));
    Digest(session, Counting(3));
    EXPECT_EQ(log.Take(), Framed("C_Digest", {LeavingLine("DigestManager::Digest", "0 CKR_OK")}, "0 CKR_OK"));
    DigestInit(session, md5);
    EXPECT_EQ(log.Take(),
              Framed("C_DigestInit", {LeavingLine("DigestManager::Init", "70 CKR_MECHANISM_INVALID")}));
    Digest(session, Counting(3));
    EXPECT_EQ(log.Take(), Framed("C_Digest", {}, "91 CKR_OPERATION_NOT_INITIALIZED"));
    Digest(99, Counting(3));
    EXPECT_EQ(log.Take(), Framed("C_Digest", {}, "b3 CKR_SESSION_HANDLE_INVALID"));
}

} // namespace
} // namespace blackbox
