#include "tests/front/every_call.h"
#include "tests/front/front_test.h"
#include "tests/front/other_thread.h"
#include "tests/support/test_certificates.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace front_test {
namespace {

using SlotsTest = FrontTest;

CK_FLAGS FlagsOf(CK_FUNCTION_LIST* f, CK_SLOT_ID slot)
{
    CK_SLOT_INFO info{};
    EXPECT_EQ(f->C_GetSlotInfo(slot, &info), CKR_OK);
    return info.flags;
}

TEST_F(SlotsTest, SlotListNeedsRoomForAll)
{
    StartWithCard();
    CK_SLOT_ID slots[2] = {untouched, untouched};
    CK_ULONG count = 1;
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots, &count), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(slots[0], untouched);
    ASSERT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_OK);
    count = 1;
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots, &count), CKR_BUFFER_TOO_SMALL) << "less than was told";
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, nullptr), CKR_ARGUMENTS_BAD);
}

TEST_F(SlotsTest, ListAfterItsLengthHasRoomThoughACardCame)
{
    StartWithCard();
    CK_ULONG count = 0;
    ASSERT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_OK);
    ASSERT_EQ(count, 2U);
    InsertCard(readerB);
    std::vector<CK_SLOT_ID> slots(4, untouched);
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots.data(), &count), CKR_OK);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(slots, (std::vector<CK_SLOT_ID>{0, 1, untouched, untouched}));
    count = 3; // also for a caller with some room to spare
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots.data(), &count), CKR_OK);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{0, 1, 2, 3})) << "the next length counts the card";
}

TEST_F(SlotsTest, ListAfterALengthOfNoneIsEmptyThoughACardCame)
{
    script->AddReader(readerA);
    Start();
    for (const CK_BBOOL present : {CK_BBOOL{CK_FALSE}, CK_BBOOL{CK_TRUE}}) {
        CK_ULONG count = 7;
        ASSERT_EQ(f->C_GetSlotList(present, nullptr, &count), CKR_OK);
        ASSERT_EQ(count, 0U);
    }
    InsertCard(readerA);
    CK_SLOT_ID slot = untouched;
    for (const CK_BBOOL present : {CK_BBOOL{CK_FALSE}, CK_BBOOL{CK_TRUE}}) {
        CK_ULONG count = 0;
        EXPECT_EQ(f->C_GetSlotList(present, &slot, &count), CKR_OK);
        EXPECT_EQ(count, 0U);
        EXPECT_EQ(slot, untouched);
    }
}

TEST_F(SlotsTest, ListWithRoomForACardThatCameAfterItsLengthHasThatCard)
{
    StartWithCard();
    CK_ULONG count = 0;
    ASSERT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_OK);
    InsertCard(readerB);
    std::vector<CK_SLOT_ID> slots(4, untouched);
    count = Length(slots);
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots.data(), &count), CKR_OK);
    EXPECT_EQ(slots, (std::vector<CK_SLOT_ID>{0, 1, 2, 3}));
}

TEST_F(SlotsTest, LengthOfTheSlotsWithCardsIsNotThatOfAllSlots)
{
    StartWithTwoCards();
    RemoveCard(readerA);
    CK_ULONG count = 0;
    ASSERT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_OK);
    ASSERT_EQ(count, 2U);
    CK_SLOT_ID slots[2] = {untouched, untouched};
    EXPECT_EQ(f->C_GetSlotList(CK_FALSE, slots, &count), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(slots[0], untouched);
}

TEST_F(SlotsTest, LengthToldToAThreadHoldsWhateverOtherThreadsAsk)
{
    StartWithCard();
    CK_ULONG count = 0;
    ASSERT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_OK);
    InsertCard(readerB);
    const auto expectTwoSlots = [&] {
        CK_SLOT_ID slots[2] = {untouched, untouched};
        EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots, &count), CKR_OK);
        EXPECT_EQ(count, 2U);
        EXPECT_EQ(slots[1], 1U);
    };
    std::thread(expectTwoSlots).join(); // which was told no length itself
    std::thread([this] { EXPECT_EQ(Slots().size(), 4U); }).join();
    expectTwoSlots();
}

TEST_F(SlotsTest, SlotKeepsItsPlaceWhenItsCardGoesAndComes)
{
    StartWithTwoCards();
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{0, 1, 2, 3}));

    RemoveCard(readerA);
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{2, 3}));
    EXPECT_EQ(Slots(false), (std::vector<CK_SLOT_ID>{0, 1, 2, 3}));
    EXPECT_EQ(FlagsOf(f, 0) & CKF_TOKEN_PRESENT, 0U);
    CK_TOKEN_INFO token{};
    EXPECT_EQ(f->C_GetTokenInfo(0, &token), CKR_TOKEN_NOT_PRESENT);
    CK_ULONG count = 0;
    EXPECT_EQ(f->C_GetMechanismList(0, nullptr, &count), CKR_TOKEN_NOT_PRESENT);
    CK_SESSION_HANDLE session = 0;
    EXPECT_EQ(f->C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &session), CKR_TOKEN_NOT_PRESENT);

    InsertCard(readerA);
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{0, 1, 2, 3}));
    EXPECT_NE(FlagsOf(f, 0) & CKF_TOKEN_PRESENT, 0U);
}

TEST_F(SlotsTest, ReadersWithTheSameFirst64CharactersHaveSlotsOfTheirOwn)
{
    const std::u16string longName(70, u'R');
    script->AddReader(longName + u"1", blackbox::CertifiedCard());
    script->AddReader(longName + u"2", blackbox::CertifiedCard());
    Start();
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{0, 1, 2, 3}));
    for (const CK_SLOT_ID slot : Slots()) {
        CK_MECHANISM_INFO info{};
        ASSERT_EQ(f->C_GetMechanismInfo(slot, CKM_RSA_PKCS, &info), CKR_OK);
        EXPECT_EQ((info.flags & CKF_DECRYPT) != 0, slot % 2 != 0)
            << slot << ", whose description has no family";
    }
}

TEST_F(SlotsTest, CardInAnotherReaderHasAnotherSlot)
{
    StartWithCard();
    RemoveCard(readerA);
    InsertCard(readerB);
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{2, 3}));
}

TEST_F(SlotsTest, ReadersThatDifferInTheLastCharacterAloneHaveSlotsOfTheirOwn)
{
    const std::u16string longName(63, u'R'); // with one more, all that a description has room for
    script->AddReader(longName + u"1", blackbox::CertifiedCard());
    Start();
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{0, 1}));
    RemoveCard((longName + u"1").c_str());
    InsertCard((longName + u"2").c_str());
    EXPECT_EQ(Slots(), (std::vector<CK_SLOT_ID>{2, 3}));
}

TEST_F(SlotsTest, SlotInfoDescribesTheReader)
{
    StartWithCard();
    CK_SLOT_INFO info{};
    ASSERT_EQ(f->C_GetSlotInfo(qualified, &info), CKR_OK);
    EXPECT_EQ(info.flags, CKF_TOKEN_PRESENT | CKF_REMOVABLE_DEVICE | CKF_HW_SLOT);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(info.slotDescription), 17), "Reader A; Sig_ZEP");
    EXPECT_EQ(info.hardwareVersion.minor, 2);
    EXPECT_EQ(info.firmwareVersion.major, 3);
    EXPECT_EQ(f->C_GetSlotInfo(3, &info), CKR_SLOT_ID_INVALID);
    for (const NamedCall& call : EveryCallWithASlot(f3, 3)) {
        EXPECT_EQ(call.make(), CKR_SLOT_ID_INVALID) << call.name;
    }
}

TEST_F(SlotsTest, InfoDescribesTheLibrary)
{
    Start();
    CK_INFO info{};
    ASSERT_EQ(f->C_GetInfo(&info), CKR_OK);
    EXPECT_EQ(info.cryptokiVersion.major, 2);
    EXPECT_EQ(info.cryptokiVersion.minor, 20);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(info.manufacturerID), 32),
              "Corvane" + std::string(25, ' '));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(info.libraryDescription), 22), "Tavrik PKCS#11 library");
    EXPECT_EQ(info.libraryVersion.major, 4);
}

TEST_F(SlotsTest, UnknownSlotIsInvalidAlsoBeyond32Bits)
{
    StartWithCard();
    CK_SLOT_INFO info{};
    EXPECT_EQ(f->C_GetSlotInfo(2, &info), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(f->C_GetSlotInfo(highestBit, &info), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(f->C_CloseAllSessions(2), CKR_SLOT_ID_INVALID);
}

TEST_F(SlotsTest, CardThatIsBackHasNoSessionsAndNoLogin)
{
    const CK_SESSION_HANDLE session = StartLoggedIn(qualified);
    RemoveCard(readerA);
    InsertCard(readerA);
    CK_SESSION_INFO info{};
    EXPECT_EQ(f->C_GetSessionInfo(session, &info), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(State(Open(qualified)), CKS_RO_PUBLIC_SESSION);
}

TEST_F(SlotsTest, CardThatGoesRemovesItsObjectsAndNoOthers)
{
    StartWithTwoCards();
    const CK_SESSION_HANDLE remaining = Open(2);
    ASSERT_EQ(Login(Open(0)), CKR_OK);
    ASSERT_EQ(Login(remaining), CKR_OK);
    ASSERT_EQ(Find(remaining).size(), 3U);
    const CK_OBJECT_HANDLE key = FindOne(remaining, CKO_PRIVATE_KEY);
    RemoveCard(readerA);
    EXPECT_EQ(Slots().size(), 2U) << "the front has seen it";
    EXPECT_FALSE(Read(remaining, key, CKA_ID).empty()) << "without another search";
    EXPECT_EQ(Find(remaining).size(), 3U);
    EXPECT_EQ(State(remaining), CKS_RO_USER_FUNCTIONS);
    InsertCard(readerA);
    EXPECT_TRUE(Find(Open(0)).empty());
}

TEST_F(SlotsTest, TokenHasARandomGeneratorAndAnyNumberOfSessions)
{
    StartWithCard();
    CK_TOKEN_INFO token{};
    ASSERT_EQ(f->C_GetTokenInfo(ordinary, &token), CKR_OK);
    EXPECT_NE(token.flags & CKF_RNG, 0U);
    EXPECT_NE(token.flags & CKF_LOGIN_REQUIRED, 0U);
    EXPECT_NE(token.flags & CKF_WRITE_PROTECTED, 0U);
    EXPECT_EQ(token.ulMaxSessionCount, CK_EFFECTIVELY_INFINITE);
    EXPECT_EQ(token.ulMaxRwSessionCount, CK_EFFECTIVELY_INFINITE);
    EXPECT_EQ(token.ulTotalPrivateMemory, CK_UNAVAILABLE_INFORMATION);
}

TEST_F(SlotsTest, TokenCountsItsSessions)
{
    StartWithCard();
    Open(qualified);
    Open(qualified, CKF_SERIAL_SESSION | CKF_RW_SESSION);
    Open(ordinary, CKF_SERIAL_SESSION | CKF_RW_SESSION);
    CK_TOKEN_INFO token{};
    ASSERT_EQ(f->C_GetTokenInfo(qualified, &token), CKR_OK);
    EXPECT_EQ(token.ulSessionCount, 2U);
    EXPECT_EQ(token.ulRwSessionCount, 1U);
    EXPECT_EQ(token.ulFreePublicMemory, CK_UNAVAILABLE_INFORMATION);
    EXPECT_NE(token.flags & CKF_PROTECTED_AUTHENTICATION_PATH, 0U);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(token.label), 8), "Sig_ZEP ");
}

TEST_F(SlotsTest, MechanismListNeedsRoomForAll)
{
    StartWithCard();
    CK_ULONG count = 3;
    CK_MECHANISM_TYPE few[3] = {untouched, untouched, untouched};
    EXPECT_EQ(f->C_GetMechanismList(ordinary, few, &count), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 11U);
    EXPECT_EQ(few[0], untouched);
}

TEST_F(SlotsTest, EllipticKeyHasNoRsaMechanism)
{
    auto card = blackbox::CertifiedCard();
    card.qesKeyInfo.keyReference = 5;
    script->AddReader(readerA, card);
    Start();
    CK_MECHANISM_INFO info{};
    EXPECT_EQ(f->C_GetMechanismInfo(qualified, CKM_RSA_PKCS, &info), CKR_MECHANISM_INVALID);
    EXPECT_EQ(f->C_GetMechanismInfo(qualified, CKM_SHA256_RSA_PKCS, &info), CKR_MECHANISM_INVALID);
    EXPECT_EQ(f->C_GetMechanismInfo(qualified, CKM_SHA256, &info), CKR_OK);
    CK_ULONG count = 0;
    ASSERT_EQ(f->C_GetMechanismList(qualified, nullptr, &count), CKR_OK);
    EXPECT_EQ(count, 5U);
}

TEST_F(SlotsTest, KeyWhoseRecordFailedAtTheStartIsStillAnRsaKey)
{
    script->AddReader(readerA, blackbox::CertifiedCard());
    script->Next("ES_GetKeyInfo", {.status = eCardCommErr});
    Start();
    CK_MECHANISM_INFO info{};
    ASSERT_EQ(f->C_GetMechanismInfo(ordinary, CKM_RSA_PKCS, &info), CKR_OK);
    EXPECT_EQ(info.flags, CKF_HW | CKF_SIGN | CKF_VERIFY | CKF_ENCRYPT | CKF_DECRYPT);
    EXPECT_EQ(info.ulMaxKeySize, 0U) << "not known yet";
    CK_ULONG count = 0;
    ASSERT_EQ(f->C_GetMechanismList(ordinary, nullptr, &count), CKR_OK);
    EXPECT_EQ(count, 11U);

    const CK_SESSION_HANDLE session = Open(ordinary);
    ASSERT_EQ(Login(session), CKR_OK);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    for (const CK_MECHANISM_TYPE type : {CKM_RSA_PKCS, CKM_SHA256_RSA_PKCS}) {
        ASSERT_EQ(f->C_GetMechanismInfo(ordinary, type, &info), CKR_OK);
        EXPECT_EQ(info.ulMinKeySize, 1024U);
        EXPECT_EQ(info.ulMaxKeySize, 1024U);
    }
}

TEST_F(SlotsTest, SizesOfAKeyWhoseRecordFailedAreThoseOfTheSlotsKeys)
{
    auto card = blackbox::CertifiedCard();
    card.es.push_back(blackbox::TestCertifiedKey(3, 1, "Long"));
    script->AddReader(readerA, card);
    script->Next("ES_GetKeyInfo", {.status = eCardCommErr});
    Start();
    ASSERT_EQ(Login(Open(ordinary)), CKR_OK);
    CK_MECHANISM_INFO info{};
    ASSERT_EQ(f->C_GetMechanismInfo(ordinary, CKM_RSA_PKCS, &info), CKR_OK);
    EXPECT_EQ(info.ulMinKeySize, 1024U);
    EXPECT_EQ(info.ulMaxKeySize, 2048U);
}

TEST_F(SlotsTest, EachEventIsToldOnce)
{
    StartWithCard();
    CK_SLOT_ID slot = untouched;
    EXPECT_EQ(f->C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr), CKR_NO_EVENT);
    RemoveCard(readerA);
    ASSERT_EQ(f->C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr), CKR_OK);
    EXPECT_EQ(slot, 0U);
    ASSERT_EQ(f->C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr), CKR_OK);
    EXPECT_EQ(slot, 1U);
    EXPECT_EQ(f->C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr), CKR_NO_EVENT);
    InsertCard(readerA);
    EXPECT_EQ(f->C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr), CKR_OK);
    EXPECT_EQ(slot, 0U);
}

TEST_F(SlotsTest, EventIsNotLostToTheSlotList)
{
    StartWithCard();
    RemoveCard(readerA);
    EXPECT_TRUE(Slots().empty());
    CK_SLOT_ID slot = untouched;
    EXPECT_EQ(f->C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr), CKR_OK);
}

TEST_F(SlotsTest, WaitBlocksUntilACardComes)
{
    script->AddReader(readerA);
    Start();
    CK_SLOT_ID slot = untouched;
    CK_RV answer = CKR_GENERAL_ERROR;
    OtherThread waiting([&] { answer = f->C_WaitForSlotEvent(0, &slot, nullptr); });
    waiting.WaitUntilItSleeps();
    EXPECT_FALSE(waiting.IsDone());
    script->InsertCard(readerA, blackbox::CertifiedCard());
    waiting.Join();
    EXPECT_EQ(answer, CKR_OK);
    EXPECT_EQ(slot, 0U);
}

TEST_F(SlotsTest, FinalizeEndsTheWait)
{
    StartWithCard();
    CK_RV answer = CKR_OK;
    OtherThread waiting([&] {
        CK_SLOT_ID slot = untouched;
        answer = f->C_WaitForSlotEvent(0, &slot, nullptr);
    });
    waiting.WaitUntilItSleeps();
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_OK);
    waiting.Join();
    EXPECT_EQ(answer, CKR_CRYPTOKI_NOT_INITIALIZED);
}

TEST_F(SlotsTest, WaitTestsItsArguments)
{
    StartWithCard();
    CK_SLOT_ID slot = untouched;
    EXPECT_EQ(f->C_WaitForSlotEvent(CKF_DONT_BLOCK, nullptr, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, &slot), CKR_ARGUMENTS_BAD);
}

} // namespace
} // namespace front_test
