#include "src/store/session_records.h"

#include "tests/unit/store/store_fixture.h"

using SessionRecordsTest = StoreTest;

TEST_F(SessionRecordsTest, FindsSessionSlotAndToken)
{
    const auto card = AddCard("Reader", 1);
    const auto handle = AddSession(card.ordinarySlot);
    SessionRecords records;
    EXPECT_EQ(FindSessionRecords(handle, records), 0U);
    EXPECT_EQ(records.session->handle, handle);
    EXPECT_EQ(records.slot->slotId, card.ordinarySlot);
    EXPECT_EQ(records.token->tokenId, card.tokenId);
}

TEST_F(SessionRecordsTest, TellsAMissingSession)
{
    SessionRecords records;
    EXPECT_EQ(FindSessionRecords(0xFFFF, records), 179U);
    EXPECT_EQ(records.session, nullptr);
}

TEST_F(SessionRecordsTest, TellsAMissingSlot)
{
    SessionRecords records;
    EXPECT_EQ(FindSessionRecords(AddSession(0xFFFF), records), 3U);
    EXPECT_NE(records.session, nullptr);
    EXPECT_EQ(records.slot, nullptr);
}

TEST_F(SessionRecordsTest, TellsAMissingToken)
{
    SessionRecords records;
    EXPECT_EQ(FindSessionRecords(AddSession(AddSlot(0xFFFF, "Sig_EP")), records), 224U);
    EXPECT_NE(records.slot, nullptr);
    EXPECT_EQ(records.token, nullptr);
}
