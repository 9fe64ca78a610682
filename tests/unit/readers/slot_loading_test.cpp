#include "src/readers/slot_loading.h"

#include "tests/unit/card/stub_card.h"
#include "tests/unit/log/log_capture.h"
#include "tests/unit/store/store_fixture.h"

#include <cstring>
#include <stdexcept>

namespace {

class SlotLoadingTest : public StoreTest
{
protected:
    // The names as the card side lists them, and the sessions that their cards open from 100 on.
    static void SetReaders(const std::u16string& names)
    {
        StubCard().readers = names;
        StubCard().readerCount = static_cast<int32_t>(names.size());
        StubCard().nextSession = 100;
    }

    static std::vector<std::string> ReadersInStore()
    {
        std::vector<std::string> readers;
        for (const auto& slot : SlotsInStore()) {
            readers.push_back(Cache().GetCardToken(slot->tokenId)->readerName + "/" + slot->label);
        }
        return readers;
    }
};

std::string TextOf(const CK_UTF8CHAR* field, std::size_t width)
{
    return {field, field + width};
}

} // namespace

TEST_F(SlotLoadingTest, GivenSessionMakesOneTokenAndTwoSlots)
{
    const uint32_t tokenId = Cache().tokenIdCounter;
    const CK_SLOT_ID slotId = Cache().slotIdCounter;
    LoadSlotList(42, "Reader");
    const auto slots = SlotsInStore();
    ASSERT_EQ(slots.size(), 2U);
    EXPECT_EQ(slots[0]->slotId, slotId);
    EXPECT_EQ(slots[0]->label, "Sig_ZEP");
    EXPECT_EQ(slots[1]->slotId, slotId + 1);
    EXPECT_EQ(slots[1]->label, "Sig_EP");
    EXPECT_EQ(slots[0]->tokenId, tokenId);
    EXPECT_EQ(slots[1]->tokenId, tokenId);
    const auto token = Cache().GetCardToken(tokenId);
    EXPECT_EQ(token->card.session, 42U);
    EXPECT_EQ(token->readerName, "Reader");
    EXPECT_FALSE(token->loggedIn);
    EXPECT_TRUE(token->keyInfoBySlot.empty());
}

TEST_F(SlotLoadingTest, CardIsReadInsideATransaction)
{
    LoadSlotList(42, "Reader");
    const auto& calls = StubCard().calls;
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.front(), "StartTransaction 42");
    EXPECT_EQ(calls.back(), "StopTransaction 42");
    EXPECT_EQ(CallsOf("GetTokenInfo 42"), 2);
    EXPECT_EQ(CallsOf("GetSessionFlags 42"), 2);
    EXPECT_EQ(calls.size(), 6U);
}

TEST_F(SlotLoadingTest, LogsWithAndWithoutASession)
{
    {
        LogCapture log;
        LoadSlotList(42, "Reader");
        EXPECT_EQ(log.MessagesOf("LoadSlotList"),
                  (std::vector<std::string>{"LoadSlotList call start",
                                            "CardAPI session is not null, going to start transaction",
                                            "LoadSlotList call end"}));
    }
    LogCapture log;
    LoadSlotList(0, "");
    EXPECT_EQ(log.MessagesOf("LoadSlotList"),
              (std::vector<std::string>{"LoadSlotList call start", "CardAPI session is null",
                                        "LoadSlotList call end"}));
}

TEST_F(SlotLoadingTest, SlotIsDescribedByTheCard)
{
    auto& info = StubCard().tokenInfo;
    const uint8_t versions[] = {1, 2, 3, 4};
    std::memcpy(info.versions, versions, 4);
    std::strcpy(info.manufacturer, "Maker");
    StubCard().flags = 1;
    LoadSlotList(42, "Reader");
    const auto& slotInfo = SlotsInStore().at(1)->info;
    EXPECT_EQ(TextOf(slotInfo.slotDescription, 64), "Reader; Sig_EP" + std::string(50, ' '));
    EXPECT_EQ(TextOf(slotInfo.manufacturerID, 32), "Maker" + std::string(27, ' '));
    EXPECT_EQ(slotInfo.hardwareVersion.major, 1);
    EXPECT_EQ(slotInfo.hardwareVersion.minor, 2);
    EXPECT_EQ(slotInfo.firmwareVersion.major, 3);
    EXPECT_EQ(slotInfo.firmwareVersion.minor, 4);
    EXPECT_EQ(slotInfo.flags, CKF_TOKEN_PRESENT | CKF_REMOVABLE_DEVICE | CKF_HW_SLOT);
    EXPECT_EQ(StubCard().tokenInfoCapacity, 127U);
}

TEST_F(SlotLoadingTest, ManufacturerThatFillsItsFieldHasNoTerminator)
{
    std::memset(StubCard().tokenInfo.manufacturer, 'M', 32);
    std::memset(StubCard().tokenInfo.unread68, 'x', 32);
    LoadSlotList(42, "Reader");
    EXPECT_EQ(TextOf(SlotsInStore().at(0)->info.manufacturerID, 32), std::string(32, 'M'));
}

TEST_F(SlotLoadingTest, LongReaderNameCutsTheDescription)
{
    LoadSlotList(42, std::string(60, 'R'));
    LoadSlotList(43, std::string(70, 'S'));
    const auto slots = SlotsInStore();
    EXPECT_EQ(TextOf(slots.at(0)->info.slotDescription, 64), std::string(60, 'R') + "; Si");
    EXPECT_EQ(TextOf(slots.at(2)->info.slotDescription, 64), std::string(64, 'S'));
}

TEST_F(SlotLoadingTest, FailingTokenInfoLeavesItsFieldsZero)
{
    std::strcpy(StubCard().tokenInfo.manufacturer, "Maker");
    StubCard().tokenInfo.versions[0] = 9;
    StubCard().tokenInfoStatus = 1;
    LoadSlotList(42, "Reader");
    const auto& info = SlotsInStore().at(0)->info;
    EXPECT_EQ(TextOf(info.manufacturerID, 32), std::string(32, '\0'));
    EXPECT_EQ(info.hardwareVersion.major, 0);
    EXPECT_EQ(TextOf(info.slotDescription, 6), "Reader");
}

TEST_F(SlotLoadingTest, FlagsSayWhetherACardIsPresent)
{
    constexpr CK_FLAGS removable = CKF_REMOVABLE_DEVICE | CKF_HW_SLOT;
    for (const uint32_t flags : {0U, 4U, 1U, 5U, 0xFFFFFFFFU}) {
        Cache().Clear();
        StubCard().flags = flags;
        LoadSlotList(42, "Reader");
        EXPECT_EQ(SlotsInStore().at(0)->info.flags,
                  (flags & cardPresentFlag) != 0 ? removable | CKF_TOKEN_PRESENT : removable)
            << flags;
    }
}

TEST_F(SlotLoadingTest, FailingFlagsLeaveNone)
{
    StubCard().flags = 1;
    StubCard().flagsStatus = 1;
    LoadSlotList(42, "Reader");
    EXPECT_EQ(SlotsInStore().at(0)->info.flags, 0U);
}

TEST_F(SlotLoadingTest, EachReaderOfTheListIsOpened)
{
    SetReaders(std::u16string(u"A\0Bc\0D\0", 7));
    LoadSlotList(0, "");
    EXPECT_EQ(CallsOf("GetReaderList 1023"), 1);
    EXPECT_EQ(StubCard().openedReaders, (std::vector<std::u16string>{u"A", u"Bc", u"D"}));
    EXPECT_EQ(ReadersInStore(), (std::vector<std::string>{"A/Sig_ZEP", "A/Sig_EP", "Bc/Sig_ZEP", "Bc/Sig_EP",
                                                          "D/Sig_ZEP", "D/Sig_EP"}));
    EXPECT_EQ(Cache().GetCardToken(SlotsInStore().at(2)->tokenId)->card.session, 101U);
}

TEST_F(SlotLoadingTest, ReadersThatDoNotOpenAreLeftOut)
{
    SetReaders(std::u16string(u"A\0B\0", 4));
    StubCard().nextSession = 0;
    LogCapture log;
    LoadSlotList(0, "");
    EXPECT_EQ(log.Lines().size(), 3U);
    EXPECT_EQ(StubCard().openedReaders.size(), 2U);
    EXPECT_TRUE(Cache().GetSlotIds().empty());
}

TEST_F(SlotLoadingTest, NegativeCountOpensNoReader)
{
    SetReaders(std::u16string(u"A\0", 2));
    StubCard().readerCount = -1;
    LoadSlotList(0, "");
    EXPECT_TRUE(StubCard().openedReaders.empty());
}

TEST_F(SlotLoadingTest, FirstNameIsTakenFromAListOfNoCharacters)
{
    SetReaders(std::u16string(u"A\0B\0", 4));
    StubCard().readerCount = 0;
    LoadSlotList(0, "");
    EXPECT_EQ(StubCard().openedReaders, std::vector<std::u16string>{u"A"});
}

TEST_F(SlotLoadingTest, TerminatorOfTheListIsNoName)
{
    SetReaders(std::u16string(u"A\0B\0\0", 5));
    LoadSlotList(0, "");
    EXPECT_EQ(StubCard().openedReaders, (std::vector<std::u16string>{u"A", u"B"}));
}

TEST_F(SlotLoadingTest, ReaderNamesAreNarrowedInTheStoreAndNotForTheCard)
{
    SetReaders(std::u16string(u"R\x0158\0", 3));
    LoadSlotList(0, "");
    EXPECT_EQ(StubCard().openedReaders.at(0), u"R\x0158");
    EXPECT_EQ(ReadersInStore().at(0), "RX/Sig_ZEP");
}

TEST_F(SlotLoadingTest, NarrowNameKeepsTheLowBytes)
{
    EXPECT_EQ(NarrowReaderName(u""), "");
    EXPECT_EQ(NarrowReaderName(u"Reader 0"), "Reader 0");
    EXPECT_EQ(NarrowReaderName(u"\x00E9\x0141"), "\xE9"
                                                 "A");
}

TEST_F(SlotLoadingTest, EndedCardSessionsAreAllTriedAndTheFirstFailureIsThrown)
{
    AddCard("Reader", 1);
    AddCard("Reader", 2);
    AddCard("Reader", 3);
    StubCard().onCloseSession = [](CardSession session) {
        if (session > 1) {
            throw std::runtime_error(std::to_string(session));
        }
    };
    std::string thrown;
    try {
        EndCardSessions(Cache().RemoveCardToken("Reader"));
    } catch (const std::runtime_error& failure) {
        thrown = failure.what();
    }
    EXPECT_EQ(thrown, "2");
    EXPECT_EQ(StubCard().calls,
              (std::vector<std::string>{"CloseSession 1", "CloseSession 2", "CloseSession 3"}));
}

TEST_F(SlotLoadingTest, CardSessionThatIsStillInUseEndsWithItsLastUser)
{
    const auto card = AddCard("Reader", 8);
    auto user = Cache().GetCardToken(card.tokenId);
    EndCardSessions(Cache().RemoveCardToken("Reader"));
    EXPECT_TRUE(StubCard().calls.empty());
    user = nullptr;
    EXPECT_EQ(StubCard().calls, std::vector<std::string>{"CloseSession 8"});
}
