#include "src/store/session_records.h"

#include "tests/unit/store/store_fixture.h"

using SessionRecordsTest = StoreTest;

TEST_F(SessionRecordsTest, FindsSessionSlotAndToken)
{
    const auto card = AddCard("Reader", 1);
    const auto handle = AddSession(card.ordinarySlot);
    SessionRecords records;
    EXPECT_EQ(FindSessionRecords(handle, records), CKR_OK);
    EXPECT_EQ(records.session->handle, handle);
    EXPECT_EQ(records.slot->slotId, card.ordinarySlot);
    EXPECT_EQ(records.token->tokenId, card.tokenId);
}

TEST_F(SessionRecordsTest, ReportsAMissingSession)
{
    SessionRecords records;
    EXPECT_EQ(FindSessionRecords(0xFFFF, records), CKR_SESSION_HANDLE_INVALID);
    EXPECT_EQ(records.session, nullptr);
}

TEST_F(SessionRecordsTest, ReportsAMissingSlot)
{
    SessionRecords records;
    EXPECT_EQ(FindSessionRecords(AddSession(0xFFFF), records), CKR_SLOT_ID_INVALID);
    EXPECT_NE(records.session, nullptr);
    EXPECT_EQ(records.slot, nullptr);
}

TEST_F(SessionRecordsTest, ReportsAMissingToken)
{
    SessionRecords records;
    EXPECT_EQ(FindSessionRecords(AddSession(AddSlot(0xFFFF, "Sig_EP")), records), CKR_TOKEN_NOT_PRESENT);
    EXPECT_NE(records.slot, nullptr);
    EXPECT_EQ(records.token, nullptr);
}
