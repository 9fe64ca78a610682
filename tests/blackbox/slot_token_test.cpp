// Which slots and tokens an application is shown, and what it is told of them.
#include "tests/support/black_box_test.h"
#include "tests/support/frame_lines.h"
#include "tests/support/log_capture.h"
#include "tests/support/mutex_callbacks.h"

#include <array>
#include <cstring>

namespace blackbox {
namespace {

class SlotTokenTest : public BlackBoxTest
{
protected:
    void RemoveCardOfReaderA()
    {
        script->RemoveCard(readerA);
        ProcessEvents();
        script->ForgetCalls();
    }
};

TEST_F(SlotTokenTest, NoCardGivesAnEmptySlotListWhateverTokenPresentSays)
{
    script->AddReader(readerA);
    Initialize();
    for (const CK_BBOOL tokenPresent : {CK_BBOOL{CK_TRUE}, CK_BBOOL{CK_FALSE}}) {
        CK_ULONG count = 9;
        EXPECT_EQ(f->C_GetSlotList(tokenPresent, nullptr, &count), CKR_OK);
        EXPECT_EQ(count, 0U);
        std::array<CK_SLOT_ID, 2> slots{77, 77};
        count = 2;
        EXPECT_EQ(f->C_GetSlotList(tokenPresent, slots.data(), &count), CKR_OK);
        EXPECT_EQ(count, 0U);
        EXPECT_EQ(slots, (std::array<CK_SLOT_ID, 2>{77, 77}));
    }
}

TEST_F(SlotTokenTest, OneCardGivesTwoSlotsWhateverTokenPresentSays)
{
    InitializeWithCard();
    for (const CK_BBOOL tokenPresent : {CK_BBOOL{CK_TRUE}, CK_BBOOL{CK_FALSE}}) {
        std::array<CK_SLOT_ID, 2> slots{};
        CK_ULONG count = 2;
        EXPECT_EQ(f->C_GetSlotList(tokenPresent, slots.data(), &count), CKR_OK);
        EXPECT_EQ(count, 2U);
        EXPECT_EQ(slots, (std::array<CK_SLOT_ID, 2>{1, 2}));
    }
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(SlotTokenTest, SlotListWritesTheIdsBeforeTheCount)
{
    InitializeWithCard();
    for (const size_t place : {0U, 1U}) { // where both meet, what is written last stays
        std::array<CK_SLOT_ID, 2> slots{77, 77};
        slots.at(place) = 2;
        EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots.data(), &slots.at(place)), CKR_OK);
        EXPECT_EQ(slots.at(place), 2U) << "the count";
        EXPECT_EQ(slots.at(1 - place), place == 0 ? 2U : 1U) << "the id";
    }
}

TEST_F(SlotTokenTest, SlotListInATooSmallBufferGivesTheCountAndNothingElse)
{
    InitializeWithCard();
    std::array<CK_SLOT_ID, 1> slots{77};
    CK_ULONG count = 1;
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots.data(), &count), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(slots.front(), 77U);
    count = 0;
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots.data(), &count), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, 2U);
}

TEST_F(SlotTokenTest, SlotListInATooLargeBufferLeavesTheRestAlone)
{
    InitializeWithTwoCards();
    std::array<CK_SLOT_ID, 6> slots{77, 77, 77, 77, 77, 77};
    CK_ULONG count = 6;
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots.data(), &count), CKR_OK);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(slots, (std::array<CK_SLOT_ID, 6>{1, 2, 3, 4, 77, 77}));
}

TEST_F(SlotTokenTest, SlotListCountQueryDoesNotReadTheCount)
{
    InitializeWithCard();
    CK_ULONG count = 0;
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_OK);
    EXPECT_EQ(count, 2U);
}

TEST_F(SlotTokenTest, NullPointersAreRefusedBeforeTheLockAndBeforeTheSlot)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    Initialize(&arguments);
    CK_SLOT_ID slot = 0;
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, &slot, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetSlotInfo(999, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(f->C_GetTokenInfo(999, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(SlotTokenTest, QueriesRunUnderTheLock)
{
    CK_C_INITIALIZE_ARGS arguments = MutexArguments();
    InitializeWithCard(Card{}, &arguments);
    CK_ULONG count = 0;
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "UnlockMutex(1)"}));
    CK_SLOT_INFO slot{};
    EXPECT_EQ(f->C_GetSlotInfo(1, &slot), CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "UnlockMutex(1)"}));
    CK_TOKEN_INFO token{};
    EXPECT_EQ(f->C_GetTokenInfo(2, &token), CKR_OK);
    EXPECT_EQ(TakeCalls(), (Texts{"LockMutex(1)", "GetTokenInfo(101, 127)", "UnlockMutex(1)"}));
}

TEST_F(SlotTokenTest, SlotInfoIsAsItWasWhenTheSlotWasMade)
{
    InitializeWithCard();
    script->ChangeCard(readerA, [](Card& card) {
        card.flags = 0;
        card.manufacturer = "Another";
    });
    const std::array<std::string, 2> labels{"Sig_ZEP", "Sig_EP"};
    for (CK_SLOT_ID id = 1; id <= 2; ++id) {
        CK_SLOT_INFO info;
        std::memset(&info, 0xEE, sizeof info);
        ASSERT_EQ(f->C_GetSlotInfo(id, &info), CKR_OK);
        const std::string expected = Padded("Reader A; " + labels.at(id - 1), 64) +
                                     Padded("Scripted Manufacturer", 32) + std::string("\x07\0\0\0", 4) +
                                     "\x01\x02\x03\x04";
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(&info), sizeof info), expected);
    }
    EXPECT_EQ(script->Calls(), Texts{}) << "the card is not asked";
}

TEST_F(SlotTokenTest, SlotInfoOfAnUnknownSlotIsRefused)
{
    InitializeWithCard();
    CK_SLOT_INFO info{};
    for (const CK_SLOT_ID slot : {0U, 3U, 0xFFFFFFFFU}) {
        EXPECT_EQ(f->C_GetSlotInfo(slot, &info), CKR_SLOT_ID_INVALID);
    }
}

TEST_F(SlotTokenTest, SlotAndTokenInfoOfACardThatHasLeftAreRefused)
{
    InitializeWithCard();
    RemoveCardOfReaderA();
    CK_SLOT_INFO slot{};
    CK_TOKEN_INFO token{};
    EXPECT_EQ(f->C_GetSlotInfo(1, &slot), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(f->C_GetTokenInfo(2, &token), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(SlotTokenTest, TokenInfoIsFilledFieldByField)
{
    InitializeWithCard();
    const std::array<std::string, 2> labels{"Sig_ZEP", "Sig_EP"};
    for (CK_SLOT_ID slot = 1; slot <= 2; ++slot) {
        CK_TOKEN_INFO info;
        std::memset(&info, 0xEE, sizeof info);
        ASSERT_EQ(f->C_GetTokenInfo(slot, &info), CKR_OK);
        EXPECT_EQ(FieldText(info.label), Padded(labels.at(slot - 1), 32));
        EXPECT_EQ(FieldText(info.manufacturerID), Padded("Scripted Manufacturer", 32));
        EXPECT_EQ(FieldText(info.model), Padded("Scripted Model", 16));
        EXPECT_EQ(FieldText(info.serialNumber), Padded("ffffffff", 16));
        const CK_FLAGS flags = info.flags;
        EXPECT_EQ(flags, 0x50CU);
        const std::array<CK_ULONG, 10> numbers{info.ulMaxSessionCount,    info.ulSessionCount,
                                               info.ulMaxRwSessionCount,  info.ulRwSessionCount,
                                               info.ulMaxPinLen,          info.ulMinPinLen,
                                               info.ulTotalPublicMemory,  info.ulFreePublicMemory,
                                               info.ulTotalPrivateMemory, info.ulFreePrivateMemory};
        EXPECT_EQ(numbers, (std::array<CK_ULONG, 10>{0, 0, 0, 0, 6, 6, 0, 0, 0, 0}));
        EXPECT_EQ(info.hardwareVersion.major, 1);
        EXPECT_EQ(info.hardwareVersion.minor, 2);
        EXPECT_EQ(info.firmwareVersion.major, 3);
        EXPECT_EQ(info.firmwareVersion.minor, 4);
        EXPECT_EQ(FieldText(info.utcTime), std::string(16, '\0'));
    }
    EXPECT_EQ(script->Calls(), (Texts{"GetTokenInfo(101, 127)", "GetTokenInfo(101, 127)"}));
}

TEST_F(SlotTokenTest, TokenInfoAsksTheCardEachTimeWithClearedRecords)
{
    InitializeWithCard();
    script->ChangeCard(readerA, [](Card& card) { card.model = "Changed"; });
    CK_TOKEN_INFO info{};
    ASSERT_EQ(f->C_GetTokenInfo(1, &info), CKR_OK);
    EXPECT_EQ(FieldText(info.model), Padded("Changed", 16));
    ASSERT_EQ(script->CallsOf("GetTokenInfo").size(), 1U);
    EXPECT_TRUE(script->CallsOf("GetTokenInfo").front().outputsClear);
}

TEST_F(SlotTokenTest, TokenInfoTextsThatFillTheirFieldAreCutAndNotTerminated)
{
    Card card;
    card.manufacturer = std::string(32, 'm') + "beyond";
    card.model = std::string(16, 'o') + "beyond";
    InitializeWithCard(card);
    CK_TOKEN_INFO info{};
    ASSERT_EQ(f->C_GetTokenInfo(1, &info), CKR_OK);
    EXPECT_EQ(FieldText(info.manufacturerID), std::string(32, 'm'));
    EXPECT_EQ(FieldText(info.model), std::string(16, 'o'));
}

TEST_F(SlotTokenTest, TokenInfoOfAFailingCardIsBlankButLabelled)
{
    InitializeWithCard();
    script->Next("GetTokenInfo", {.status = anyOtherStatus});
    CK_TOKEN_INFO info;
    std::memset(&info, 0xEE, sizeof info);
    ASSERT_EQ(f->C_GetTokenInfo(2, &info), CKR_OK);
    EXPECT_EQ(FieldText(info.label), Padded("Sig_EP", 32));
    EXPECT_EQ(FieldText(info.manufacturerID), std::string(32, ' '));
    EXPECT_EQ(FieldText(info.model), std::string(16, ' '));
    EXPECT_EQ(info.hardwareVersion.major, 0);
    EXPECT_EQ(info.firmwareVersion.minor, 0);
    EXPECT_EQ(FieldText(info.serialNumber), Padded("ffffffff", 16));
}

TEST_F(SlotTokenTest, TokenInfoUsesWhatAFailingCardStillFilledIn)
{
    InitializeWithCard();
    script->Next("GetTokenInfo", {.status = anyOtherStatus, .outputs = scripted::Outputs::Always});
    CK_TOKEN_INFO info{};
    ASSERT_EQ(f->C_GetTokenInfo(1, &info), CKR_OK);
    EXPECT_EQ(FieldText(info.model), Padded("Scripted Model", 16));
}

TEST_F(SlotTokenTest, TokenInfoOfAnUnknownSlotIsRefusedWithoutACardCall)
{
    InitializeWithCard();
    CK_TOKEN_INFO info{};
    EXPECT_EQ(f->C_GetTokenInfo(3, &info), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(script->Calls(), Texts{});
}

TEST_F(SlotTokenTest, SerialNumberIsTheSameForEveryCard)
{
    InitializeWithTwoCards();
    for (const CK_SLOT_ID slot : Slots()) {
        CK_TOKEN_INFO info{};
        ASSERT_EQ(f->C_GetTokenInfo(slot, &info), CKR_OK);
        EXPECT_EQ(FieldText(info.serialNumber), Padded("ffffffff", 16));
    }
}

TEST_F(SlotTokenTest, WaitForSlotEventIsRefusedBeforeAndAfterInitialize)
{
    EXPECT_EQ(f->C_WaitForSlotEvent(0, nullptr, nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    Initialize();
    EXPECT_EQ(f->C_WaitForSlotEvent(0, nullptr, nullptr), CKR_FUNCTION_NOT_SUPPORTED);
}

TEST_F(SlotTokenTest, SlotListLogsItsCountOnlyWhenItFillsTheList)
{
    LogCapture log(script);
    InitializeWithCard();
    log.Forget();
    std::array<CK_SLOT_ID, 2> slots{};
    CK_ULONG count = 1;
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, nullptr, &count), CKR_OK);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_GetSlotList"), LeavingLine("C_GetSlotList", "0 CKR_OK")}));
    count = 1;
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots.data(), &count), CKR_BUFFER_TOO_SMALL);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_GetSlotList"),
                                 LeavingLine("C_GetSlotList", "150 CKR_BUFFER_TOO_SMALL")}));
    EXPECT_EQ(f->C_GetSlotList(CK_TRUE, slots.data(), &count), CKR_OK);
    EXPECT_EQ(log.Take(), (Texts{EnteringLine("C_GetSlotList"), "INFO C_GetSlotList: SlotList count: 2",
                                 LeavingLine("C_GetSlotList", "0 CKR_OK")}));
}

TEST_F(SlotTokenTest, SlotAndTokenInfoLogTheirFrameOnly)
{
    LogCapture log(script);
    InitializeWithCard();
    log.Forget();
    CK_SLOT_INFO slot{};
    CK_TOKEN_INFO token{};
    EXPECT_EQ(f->C_GetSlotInfo(1, &slot), CKR_OK);
    EXPECT_EQ(f->C_GetSlotInfo(9, &slot), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(f->C_GetTokenInfo(1, &token), CKR_OK);
    EXPECT_EQ(f->C_GetTokenInfo(1, nullptr), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(log.Take(),
              (Texts{EnteringLine("C_GetSlotInfo"), LeavingLine("C_GetSlotInfo", "0 CKR_OK"),
                     EnteringLine("C_GetSlotInfo"), LeavingLine("C_GetSlotInfo", "3 CKR_SLOT_ID_INVALID"),
                     EnteringLine("C_GetTokenInfo"), LeavingLine("C_GetTokenInfo", "0 CKR_OK"),
                     EnteringLine("C_GetTokenInfo"), LeavingLine("C_GetTokenInfo", "7 CKR_ARGUMENTS_BAD")}));
}

} // namespace
} // namespace blackbox
