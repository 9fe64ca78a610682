#include "front/model/sessions.h"

#include <gtest/gtest.h>

namespace front {
namespace {

class SessionListTest : public ::testing::Test
{
protected:
    static constexpr CK_SLOT_ID slot = 0;
    static constexpr CK_SLOT_ID otherSlot = 1;
    static constexpr packed::CK_SLOT_ID card = 10;
    static constexpr packed::CK_SLOT_ID nextCard = 20;

    std::shared_ptr<Session> Open(CK_SLOT_ID inSlot, packed::CK_SLOT_ID ofCard, bool readWrite = false)
    {
        return sessions.Open(inSlot, {static_cast<packed::CK_SLOT_ID>(ofCard + inSlot), ofCard}, readWrite);
    }

    void ExpectCounts(CK_SLOT_ID ofSlot, CK_ULONG all, CK_ULONG readWrite)
    {
        const SessionCounts counts = sessions.Count(ofSlot);
        EXPECT_EQ(counts.all, all);
        EXPECT_EQ(counts.readWrite, readWrite);
    }

    Sessions sessions;
};

TEST_F(SessionListTest, CountsAreThoseOfTheSlot)
{
    const auto reading = Open(slot, card);
    const auto writing = Open(slot, card, true);
    Open(otherSlot, card, true);
    ExpectCounts(slot, 2, 1);
    ExpectCounts(otherSlot, 1, 1);
    EXPECT_TRUE(sessions.Close(*writing));
    EXPECT_FALSE(sessions.Close(*writing)) << "it was closed before";
    ExpectCounts(slot, 1, 0);
    EXPECT_TRUE(sessions.Close(*reading));
    ExpectCounts(slot, 0, 0);
}

TEST_F(SessionListTest, CardHasTheSessionsOfItsSlotsAlone)
{
    const auto first = Open(slot, card);
    const auto second = Open(otherSlot, card);
    const auto later =
        Open(slot, nextCard); // in the same slot, while a session with the card before is still there
    EXPECT_EQ(sessions.OfCard(card), (std::vector{first, second}));
    EXPECT_EQ(sessions.OfCard(nextCard), std::vector{later});
    EXPECT_EQ(sessions.OfSlot(slot), (std::vector{first, later}));
    ExpectCounts(slot, 2, 0);
}

TEST_F(SessionListTest, ClosingASlotClosesItsSessionsAlone)
{
    const auto first = Open(slot, card);
    const auto second = Open(otherSlot, card);
    sessions.CloseOfSlot(slot);
    EXPECT_FALSE(first->open);
    EXPECT_EQ(sessions.Find(first->handle), nullptr);
    EXPECT_TRUE(second->open);
    EXPECT_EQ(sessions.Find(second->handle), second);
    ExpectCounts(slot, 0, 0);
    ExpectCounts(otherSlot, 1, 0);
}

} // namespace
} // namespace front
