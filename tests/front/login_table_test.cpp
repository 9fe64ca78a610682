#include "front/model/login_table.h"

#include "front/abi/refusal.h"

#include <gtest/gtest.h>

namespace front {
namespace {

class LoginTableTest : public ::testing::Test
{
protected:
    static constexpr packed::CK_SLOT_ID card = 10;
    static constexpr CK_SLOT_ID first = 0; // the slots of the card
    static constexpr CK_SLOT_ID second = 1;

    std::shared_ptr<Session> Open(CK_SLOT_ID slot)
    {
        return sessions.Open(slot, {static_cast<packed::CK_SLOT_ID>(card + slot), card}, false);
    }

    static Object MakeObject(bool isPrivate)
    {
        Object object;
        object.attributes = {{CKA_PRIVATE, BooleanValue(isPrivate)}};
        return object;
    }

    static ObjectsOfSlots PrivateObject() { return {{first, {MakeObject(true)}}}; }

    static ObjectsOfSlots ObjectsOfBothSlots()
    {
        const std::vector<Object> ofOne{MakeObject(true), MakeObject(false)};
        return {{first, ofOne}, {second, ofOne}};
    }

    [[nodiscard]] std::size_t ShownIn(CK_SLOT_ID slot) const { return objects.Search(slot, {}).size(); }

    template <typename Work>
    static CK_RV AnswerOf(Work work)
    {
        try {
            work();
        } catch (const Refusal& refusal) {
            return refusal.answer;
        }
        return CKR_OK;
    }

    Sessions sessions;
    Objects objects;
    LoginTable table{sessions, objects};
};

TEST_F(LoginTableTest, LoginShowsItsObjectsUntilItsEnd)
{
    const auto session = Open(first);
    EXPECT_EQ(AnswerOf([&] { table.RequireLogin(*session); }), CKR_USER_NOT_LOGGED_IN);
    table.Begin(*session, PrivateObject());
    const uint64_t number = table.Number(first);
    EXPECT_TRUE(table.IsLoggedIn(first));
    EXPECT_FALSE(table.IsLoggedIn(second));
    EXPECT_EQ(objects.Search(first, {}).size(), 1U);
    table.EndOfSession(*session);
    EXPECT_FALSE(table.IsLoggedIn(first));
    EXPECT_TRUE(objects.Search(first, {}).empty());
    EXPECT_GT(table.Number(first), number);
    EXPECT_EQ(AnswerOf([&] { table.EndOfSession(*session); }), CKR_USER_NOT_LOGGED_IN);
}

TEST_F(LoginTableTest, CardIsLoggedInWhileOneOfItsSlotsIs)
{
    const auto session = Open(first);
    const auto other = Open(second);
    table.Begin(*session, {});
    table.Begin(*other, {});
    sessions.Close(*session);
    table.EndUnusedOfCard(card);
    EXPECT_FALSE(table.IsLoggedIn(first));
    EXPECT_TRUE(table.IsCardLoggedIn(card));
    EXPECT_FALSE(table.IsCardLoggedIn(card + 2));
    table.EndOfCard(card);
    EXPECT_FALSE(table.IsCardLoggedIn(card));
}

TEST_F(LoginTableTest, LoginThatIsAcceptedAfterItsCardHasGoneIsRefused)
{
    const auto session = Open(first);
    sessions.CloseOfSlot(first);
    table.CardGone(first);
    EXPECT_EQ(AnswerOf([&] { table.Begin(*session, PrivateObject()); }), CKR_DEVICE_REMOVED);
    EXPECT_EQ(AnswerOf([&] { table.RequireLogin(*session); }), CKR_DEVICE_REMOVED);
    EXPECT_EQ(AnswerOf([&] { table.EndOfSession(*session); }), CKR_DEVICE_REMOVED);
    EXPECT_FALSE(table.IsLoggedIn(first));
    EXPECT_TRUE(objects.Search(first, {}).empty());
}

TEST_F(LoginTableTest, OtherSlotShowsItsPublicObjectsAfterALogin)
{
    const auto session = Open(first);
    table.Begin(*session, ObjectsOfBothSlots());
    EXPECT_EQ(ShownIn(first), 2U);
    EXPECT_EQ(ShownIn(second), 1U);
    EXPECT_FALSE(table.IsLoggedIn(second));
    EXPECT_EQ(table.Number(second), 0U);
    table.EndOfSession(*session);
    EXPECT_EQ(ShownIn(first), 1U);
    EXPECT_EQ(ShownIn(second), 1U);
}

TEST_F(LoginTableTest, LoginLeavesTheObjectsOfAnotherSlotThatIsLoggedIn)
{
    const auto session = Open(first);
    const auto other = Open(second);
    table.Begin(*session, ObjectsOfBothSlots());
    const auto shown = objects.Search(first, {});
    table.Begin(*other, ObjectsOfBothSlots());
    EXPECT_EQ(ShownIn(second), 2U);
    EXPECT_EQ(objects.Search(first, {}), shown);
}

TEST_F(LoginTableTest, OtherSlotOfACardThatHasGoneShowsNothing)
{
    const auto session = Open(first);
    sessions.CloseOfSlot(first);
    EXPECT_EQ(AnswerOf([&] { table.Begin(*session, ObjectsOfBothSlots()); }), CKR_DEVICE_REMOVED);
    EXPECT_EQ(ShownIn(second), 0U);
}

// Between the close of the sessions and the end of the login, which are two steps.
TEST_F(LoginTableTest, CardThatIsJustGoingIsRemovedAndNotLoggedOut)
{
    const auto session = Open(first);
    table.Begin(*session, PrivateObject());
    sessions.CloseOfSlot(first);
    EXPECT_EQ(AnswerOf([&] { table.RequireLogin(*session); }), CKR_DEVICE_REMOVED);
    EXPECT_EQ(AnswerOf([&] { objects.Add(*session, {}); }), CKR_DEVICE_REMOVED);
    table.CardGone(first);
    EXPECT_TRUE(objects.Search(first, {}).empty());
}

} // namespace
} // namespace front
