// The one view of cards, slots, sessions and objects: its identifiers, and what goes with what.
#include "tests/support/black_box_test.h"
#include "tests/support/log_capture.h"
#include "tests/support/test_certificates.h"

#include <algorithm>

namespace blackbox {
namespace {

class StoreTest : public BlackBoxTest
{
protected:
    void Remove(const char16_t* reader)
    {
        script->RemoveCard(reader);
        ProcessEvents();
    }

    CK_OBJECT_HANDLE CreatePublicKey(CK_SESSION_HANDLE session)
    {
        Bytes modulus(128, 0x81);
        Bytes exponent{1, 0, 1};
        CK_BBOOL verify = CK_TRUE;
        CK_ATTRIBUTE attributes[] = {{CKA_MODULUS, modulus.data(), 128},
                                     {CKA_PUBLIC_EXPONENT, exponent.data(), 3},
                                     {CKA_VERIFY, &verify, 1}};
        CK_OBJECT_HANDLE handle = 0;
        EXPECT_EQ(f->C_CreateObject(session, attributes, 3, &handle), CKR_OK);
        return handle;
    }
};

TEST_F(StoreTest, RemovingOneReaderLeavesTheOtherUntouched)
{
    InitializeWithTwoCards(CertifiedCard(), CertifiedCard());
    const CK_SESSION_HANDLE onA = OpenSession(2);
    const CK_SESSION_HANDLE onB = OpenSession(4);
    LoginUser(onB);
    const std::vector<CK_OBJECT_HANDLE> objects = FindAll(onB);
    script->ForgetCalls();
    Remove(readerA);
    EXPECT_EQ(script->Calls(), (Texts{"StopTransaction(101)", "CloseSession(101)"}));
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{3, 4}));
    EXPECT_EQ(StateOf(onB), CKS_RO_USER_FUNCTIONS);
    EXPECT_EQ(FindAll(onB), objects);
    CK_SESSION_INFO info{};
    EXPECT_EQ(f->C_GetSessionInfo(onA, &info), CKR_SESSION_HANDLE_INVALID);
}

TEST_F(StoreTest, SessionsOfOneCardDoNotHoldTheTransactionOfAnother)
{
    InitializeWithTwoCards(CertifiedCard(), CertifiedCard());
    const CK_SESSION_HANDLE onA = OpenSession(1);
    const CK_SESSION_HANDLE onB = OpenSession(3);
    LoginUser(onA);
    LoginUser(onB);
    script->ForgetCalls();
    ASSERT_EQ(f->C_CloseSession(onA), CKR_OK);
    EXPECT_EQ(script->Calls(), Texts{"StopTransaction(101)"});
    EXPECT_EQ(StateOf(onB), CKS_RO_USER_FUNCTIONS);
}

TEST_F(StoreTest, CardTakenOutAndPutBackGetsNewIdsForEver)
{
    InitializeWithCard();
    for (CK_SLOT_ID first = 1; first <= 9; first += 2) {
        EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{first, first + 1}));
        Remove(readerA);
        script->InsertCard(readerA, Card{});
        ProcessEvents();
    }
    CK_SLOT_INFO info{};
    EXPECT_EQ(f->C_GetSlotInfo(1, &info), CKR_SLOT_ID_INVALID);
}

TEST_F(StoreTest, CountersGoOnOverANewStart)
{
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(1);
    LoginUser(session);
    EXPECT_EQ(session, 1U);
    EXPECT_EQ(FindAll(session), (std::vector<CK_OBJECT_HANDLE>{0x70000001, 0x30000001}));
    EXPECT_EQ(CreatePublicKey(session), 0x40000001U);
    Finalize();
    Initialize();
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{3, 4}));
    const CK_SESSION_HANDLE next = OpenSession(3);
    EXPECT_EQ(next, 2U);
    LoginUser(next);
    EXPECT_EQ(FindAll(next), (std::vector<CK_OBJECT_HANDLE>{0x70000003, 0x30000003}))
        << "the other slot had one each";
    EXPECT_EQ(CreatePublicKey(next), 0x40000002U);
}

TEST_F(StoreTest, ReaderThatCannotBeOpenedUsesUpNoId)
{
    script->AddReader(readerA);
    script->AddReader(readerB, Card{});
    Initialize();
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{1, 2}));
}

TEST_F(StoreTest, NewStartDropsTheSessionsAndTheLoginOfTheOldRun)
{
    InitializeWithCard();
    const CK_SESSION_HANDLE session = OpenSession(1);
    LoginUser(session);
    Finalize();
    Initialize();
    CK_SESSION_INFO info{};
    EXPECT_EQ(f->C_GetSessionInfo(session, &info), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(StateOf(OpenSession(3)), CKS_RO_PUBLIC_SESSION);
}

TEST_F(StoreTest, NewStartDropsTheObjectsOfTheOldRun)
{
    InitializeWithCard(CertifiedCard());
    CK_SESSION_HANDLE session = OpenSession(1);
    LoginUser(session);
    const CK_OBJECT_HANDLE object = CreatePublicKey(session);
    Finalize();
    Initialize();
    session = OpenSession(3);
    EXPECT_EQ(f->C_GetAttributeValue(session, object, nullptr, 0), CKR_OBJECT_HANDLE_INVALID);
}

TEST_F(StoreTest, NewStartClosesTheOldCardsInTheirOrder)
{
    InitializeWithTwoCards(CertifiedCard(), CertifiedCard());
    OpenSession(3);
    Finalize();
    script->TakeCard(readerA);
    script->TakeCard(readerB);
    script->ForgetCalls();
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    const Texts calls = script->Calls();
    ASSERT_GE(calls.size(), 7U);
    EXPECT_EQ(
        Texts(calls.begin() + 3, calls.begin() + 7),
        (Texts{"CloseSession(101)", "StopTransaction(102)", "CloseSession(102)", "GetReaderList(1023)"}));
}

TEST_F(StoreTest, StartOnAnEmptyStoreClosesNothing)
{
    Initialize();
    Finalize();
    Initialize();
    EXPECT_EQ(script->CallsOf("CloseSession").size(), 0U);
    script->InsertCard(readerA, Card{});
    ProcessEvents();
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{1, 2}));
}

TEST_F(StoreTest, FailedCloseOfTheCardIsIgnored)
{
    InitializeWithCard();
    script->Next("CloseSession", {.status = anyOtherStatus});
    Remove(readerA);
    EXPECT_EQ(script->Calls(), Texts{"CloseSession(101)"});
    EXPECT_EQ(Slots(), std::vector<CK_SLOT_ID>{});
}

TEST_F(StoreTest, OperationsInProgressEndWithTheirCardWithoutACardCall)
{
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(1);
    LoginUser(session);
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    ASSERT_EQ(f->C_SignInit(session, &mechanism, FindAll(session).back()), CKR_OK);
    ASSERT_EQ(f->C_FindObjectsInit(session, nullptr, 0), CKR_OK);
    script->ForgetCalls();
    Remove(readerA);
    EXPECT_EQ(script->Calls(), (Texts{"StopTransaction(101)", "CloseSession(101)"}));
}

TEST_F(StoreTest, OperationsInProgressEndWithTheirSessionWithoutACardCall)
{
    InitializeWithCard(CertifiedCard());
    const CK_SESSION_HANDLE session = OpenSession(1);
    OpenSession(1);
    LoginUser(session);
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    ASSERT_EQ(f->C_SignInit(session, &mechanism, FindAll(session).back()), CKR_OK);
    script->ForgetCalls();
    EXPECT_EQ(f->C_CloseSession(session), CKR_OK);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(StoreTest, ObjectsOfSlotsAreApart)
{
    InitializeWithTwoCards(CertifiedCard(), CertifiedCard());
    const CK_SESSION_HANDLE qualified = OpenSession(1);
    const CK_SESSION_HANDLE ordinary = OpenSession(2);
    LoginUser(qualified);
    const std::vector<CK_OBJECT_HANDLE> first = FindAll(qualified);
    const std::vector<CK_OBJECT_HANDLE> second = FindAll(ordinary);
    EXPECT_EQ(first.size(), 2U);
    EXPECT_EQ(second.size(), 2U);
    for (const CK_OBJECT_HANDLE object : first) {
        EXPECT_EQ(std::count(second.begin(), second.end(), object), 0);
    }
}

TEST_F(StoreTest, MakingTheStoreIsLoggedOnceInTheProcess)
{
    LogCapture log(script);
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(log.TakeOf("InternalCache::InternalCache"),
              (Texts{"DBG InternalCache::InternalCache: InternalCache will be created",
                     "DBG InternalCache::InternalCache: InternalCache created"}));
    Finalize();
    ASSERT_EQ(f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(log.TakeOf("InternalCache::InternalCache"), Texts{});
}

} // namespace
} // namespace blackbox
