#include "src/readers/slot_loading.h"

#include "tests/unit/card/stub_card.h"
#include "tests/unit/log/log_capture.h"
#include "tests/unit/store/store_fixture.h"

#include <algorithm>
#include <cstring>

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

    // What the card holds for either key family: `certificates` as they are and a key record for each.
    static void SetCertificates(const std::vector<Bytes>& certificates)
    {
        StubCard().certificates = certificates;
        StubCard().certificateCount = static_cast<uint32_t>(certificates.size());
        StubCard().keys.clear();
        for (uint32_t i = 0; i < certificates.size(); ++i) {
            StubCard().keys.push_back(MakeKeyInfo(i + 1, 1024));
        }
    }

    static std::vector<std::string> ReadersInStore()
    {
        std::vector<std::string> readers;
        for (const auto& slot : Cache().GetSlots()) {
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
    const auto slots = Cache().GetSlots();
    ASSERT_EQ(slots.size(), 2U);
    EXPECT_EQ(slots[0]->slotId, slotId);
    EXPECT_EQ(slots[0]->label, "Sig_ZEP");
    EXPECT_EQ(slots[1]->slotId, slotId + 1);
    EXPECT_EQ(slots[1]->label, "Sig_EP");
    EXPECT_EQ(slots[0]->tokenId, tokenId);
    EXPECT_EQ(slots[1]->tokenId, tokenId);
    const auto token = Cache().GetCardToken(tokenId);
    EXPECT_EQ(token->cardSession, 42U);
    EXPECT_EQ(token->readerName, "Reader");
    EXPECT_FALSE(token->loggedIn);
    EXPECT_FALSE(token->inTransaction);
    EXPECT_TRUE(token->keyInfoBySlot.empty());
}

TEST_F(SlotLoadingTest, ReadsAreBracketedByATransactionOfTheirOwn)
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

TEST_F(SlotLoadingTest, LogsBothWays)
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
    const auto& slotInfo = Cache().GetSlots().at(1)->info;
    EXPECT_EQ(TextOf(slotInfo.slotDescription, 64), "Reader; Sig_EP" + std::string(50, ' '));
    EXPECT_EQ(TextOf(slotInfo.manufacturerID, 32), "Maker" + std::string(27, ' '));
    EXPECT_EQ(slotInfo.hardwareVersion.major, 1);
    EXPECT_EQ(slotInfo.hardwareVersion.minor, 2);
    EXPECT_EQ(slotInfo.firmwareVersion.major, 3);
    EXPECT_EQ(slotInfo.firmwareVersion.minor, 4);
    EXPECT_EQ(slotInfo.flags, 7U);
    EXPECT_EQ(StubCard().tokenInfoCapacity, 127U);
}

TEST_F(SlotLoadingTest, ManufacturerThatFillsItsFieldHasNoTerminator)
{
    std::memset(StubCard().tokenInfo.manufacturer, 'M', 32);
    std::memset(StubCard().tokenInfo.unread68, 'x', 32);
    LoadSlotList(42, "Reader");
    EXPECT_EQ(TextOf(Cache().GetSlots().at(0)->info.manufacturerID, 32), std::string(32, 'M'));
}

TEST_F(SlotLoadingTest, LongReaderNameCutsTheDescription)
{
    LoadSlotList(42, std::string(60, 'R'));
    LoadSlotList(43, std::string(70, 'S'));
    const auto slots = Cache().GetSlots();
    EXPECT_EQ(TextOf(slots.at(0)->info.slotDescription, 64), std::string(60, 'R') + "; Si");
    EXPECT_EQ(TextOf(slots.at(2)->info.slotDescription, 64), std::string(64, 'S'));
}

TEST_F(SlotLoadingTest, FailingTokenInfoLeavesItsFieldsZero)
{
    std::strcpy(StubCard().tokenInfo.manufacturer, "Maker");
    StubCard().tokenInfo.versions[0] = 9;
    StubCard().tokenInfoStatus = 1;
    LoadSlotList(42, "Reader");
    const auto& info = Cache().GetSlots().at(0)->info;
    EXPECT_EQ(TextOf(info.manufacturerID, 32), std::string(32, '\0'));
    EXPECT_EQ(info.hardwareVersion.major, 0);
    EXPECT_EQ(TextOf(info.slotDescription, 6), "Reader");
}

TEST_F(SlotLoadingTest, FlagsSayWhetherACardIsPresent)
{
    for (const uint32_t flags : {0U, 4U, 1U, 5U, 0xFFFFFFFFU}) {
        Cache().Clear();
        StubCard().flags = flags;
        LoadSlotList(42, "Reader");
        EXPECT_EQ(Cache().GetSlots().at(0)->info.flags, (flags & 1) != 0 ? 7U : 6U) << flags;
    }
}

TEST_F(SlotLoadingTest, FailingFlagsLeaveNone)
{
    StubCard().flags = 1;
    StubCard().flagsStatus = 1;
    LoadSlotList(42, "Reader");
    EXPECT_EQ(Cache().GetSlots().at(0)->info.flags, 0U);
}

TEST_F(SlotLoadingTest, WalkOpensEachReader)
{
    SetReaders(std::u16string(u"A\0Bc\0D\0", 7));
    LoadSlotList(0, "");
    EXPECT_EQ(CallsOf("GetReaderList 1023"), 1);
    EXPECT_EQ(StubCard().openedReaders, (std::vector<std::u16string>{u"A", u"Bc", u"D"}));
    EXPECT_EQ(ReadersInStore(), (std::vector<std::string>{"A/Sig_ZEP", "A/Sig_EP", "Bc/Sig_ZEP", "Bc/Sig_EP",
                                                          "D/Sig_ZEP", "D/Sig_EP"}));
    EXPECT_EQ(Cache().GetCardToken(Cache().GetSlots().at(2)->tokenId)->cardSession, 101U);
}

TEST_F(SlotLoadingTest, WalkPassesOverReadersThatDoNotOpen)
{
    SetReaders(std::u16string(u"A\0B\0", 4));
    StubCard().nextSession = 0;
    LogCapture log;
    LoadSlotList(0, "");
    EXPECT_EQ(log.Lines().size(), 3U);
    EXPECT_EQ(StubCard().openedReaders.size(), 2U);
    EXPECT_TRUE(Cache().GetSlots().empty());
}

TEST_F(SlotLoadingTest, WalkEndsAtANegativeCount)
{
    SetReaders(std::u16string(u"A\0", 2));
    StubCard().readerCount = -1;
    LoadSlotList(0, "");
    EXPECT_TRUE(StubCard().openedReaders.empty());
}

TEST_F(SlotLoadingTest, WalkTakesTheFirstNameOfAListOfNoCharacters)
{
    SetReaders(std::u16string(u"A\0B\0", 4));
    StubCard().readerCount = 0;
    LoadSlotList(0, "");
    EXPECT_EQ(StubCard().openedReaders, std::vector<std::u16string>{u"A"});
}

TEST_F(SlotLoadingTest, WalkStopsBeforeATerminatorOfTheList)
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

TEST_F(SlotLoadingTest, CreateSlotObjectsAsksTheFamilyOfTheSlot)
{
    const auto card = AddCard("Reader", 42);
    CreateSlotObjects(card.qualifiedSlot);
    EXPECT_EQ(StubCard().calls, std::vector<std::string>{"QES_GetCertificates 42"});
    CreateSlotObjects(card.ordinarySlot);
    EXPECT_EQ(StubCard().calls.back(), "ES_GetCertificates 42");
}

TEST_F(SlotLoadingTest, CreateSlotObjectsDoesNothingForAnotherLabel)
{
    const auto card = AddCard("Reader", 42);
    LogCapture log;
    const auto slotId = AddSlot(card.tokenId, "Sig_ZEP2");
    CreateSlotObjects(slotId);
    EXPECT_TRUE(StubCard().calls.empty());
    EXPECT_TRUE(log.MessagesOf("CreateSlotObjects").empty());
}

TEST_F(SlotLoadingTest, CreateSlotObjectsMakesACertificateAndAKeyOfEachEntry)
{
    const auto card = AddCard("Reader", 42);
    SetCertificates({EncodeCertificate({}), EncodeCertificate({})});
    CreateSlotObjects(card.qualifiedSlot);
    const auto records = Cache().GetObjectRecordsOfSlot(card.qualifiedSlot);
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(records[0]->kind, certificateKind);
    EXPECT_EQ(records[1]->kind, certificateKind);
    EXPECT_EQ(records[2]->kind, privateKeyKind);
    EXPECT_EQ(records[2]->keyReference, 1U);
    EXPECT_EQ(records[3]->keyReference, 2U);
    EXPECT_TRUE(Cache().GetObjectsOfSlot(card.ordinarySlot).empty());
}

TEST_F(SlotLoadingTest, CreateSlotObjectsMovesUpWhatFollowsABadCertificate)
{
    const auto card = AddCard("Reader", 42);
    SetCertificates({EncodeCertificate({}), {0x30, 0x03, 0x01}, EncodeCertificate({})});
    LogCapture log;
    CreateSlotObjects(card.ordinarySlot);
    const auto lines = log.Lines();
    const LoggedLine failed{" ERR", "Parsing certificate number: 1 for Sig_EP slot failed",
                            "CreateSlotObjects", ""};
    EXPECT_EQ(std::count(lines.begin(), lines.end(), failed), 1);
    const auto records = Cache().GetObjectRecordsOfSlot(card.ordinarySlot);
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(AttributeOf(*records[1], 0x102), TextBytes("Sig_EP_1"));
    EXPECT_EQ(records[1]->certificateIndex, 1U);
    EXPECT_EQ(AttributeOf(*records[3], 0x102), TextBytes("Sig_EP_1"));
    EXPECT_EQ(records[3]->keyReference, 3U);
}

TEST_F(SlotLoadingTest, CreateSlotObjectsMakesNothingWhenTheCardFailsAndSucceedsLater)
{
    const auto card = AddCard("Reader", 42);
    SetCertificates({EncodeCertificate({})});
    StubCard().certificateStatus = 24;
    CreateSlotObjects(card.qualifiedSlot);
    EXPECT_TRUE(Cache().GetObjectsOfSlot(card.qualifiedSlot).empty());
    StubCard().certificateStatus = 0;
    CreateSlotObjects(card.qualifiedSlot);
    EXPECT_EQ(Cache().GetObjectsOfSlot(card.qualifiedSlot).size(), 2U);
}

TEST_F(SlotLoadingTest, CreateSlotObjectsMakesNothingOfAnEmptyCard)
{
    const auto card = AddCard("Reader", 42);
    LogCapture log;
    CreateSlotObjects(card.ordinarySlot);
    EXPECT_EQ(
        log.MessagesOf("CreateSlotObjects"),
        (std::vector<std::string>{"CardAPI_QES_GetCertificates call end", "Creating slot objects end"}));
    EXPECT_TRUE(Cache().GetObjectsOfSlot(card.ordinarySlot).empty());
}

TEST_F(SlotLoadingTest, CreateSlotObjectsNotesTooManyCertificates)
{
    const auto card = AddCard("Reader", 42);
    StubCard().certificateStatus = 1; // so that none of them is looked at
    StubCard().certificateCount = 9;
    LogCapture log;
    CreateSlotObjects(card.ordinarySlot);
    const auto messages = log.MessagesOf("CreateSlotObjects");
    EXPECT_EQ(
        std::count(messages.begin(), messages.end(), "NumOfCerts is greater then MAX_CERTIFICATES_BUFFER..."),
        1);
}

TEST_F(SlotLoadingTest, CreateSlotObjectsLogsItsSteps)
{
    const auto card = AddCard("Reader", 42);
    SetCertificates({EncodeCertificate({})});
    LogCapture log;
    CreateSlotObjects(card.ordinarySlot);
    EXPECT_EQ(log.MessagesOf("CreateSlotObjects"),
              (std::vector<std::string>{"CardAPI_QES_GetCertificates call end",
                                        "Going to parse X509 certificate", "Certificate data going to parse",
                                        "X509 certificate parsed", "Creating slot objects end"}));
}
