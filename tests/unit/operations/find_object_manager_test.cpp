#include "src/operations/find_object_manager.h"

#include "tests/unit/store/store_fixture.h"

namespace {

class FindObjectManagerTest : public StoreTest
{
protected:
    FindObjectManagerTest() : card(AddCard("Reader", 1)) {}

    StoredCard card;
    FindObjectManager manager;
};

using Handles = std::vector<CK_OBJECT_HANDLE>;

} // namespace

TEST_F(FindObjectManagerTest, IsNotActiveAtFirst)
{
    EXPECT_FALSE(manager.active);
    EXPECT_EQ(manager.cursor, 0U);
    EXPECT_TRUE(manager.filter.empty());
    EXPECT_TRUE(manager.results.empty());
}

TEST_F(FindObjectManagerTest, SetFilterCopiesEachRecord)
{
    uint8_t first[] = {1, 2};
    uint8_t second[] = {3};
    const CK_ATTRIBUTE attributes[] = {{0x102, first, 2}, {0x3, second, 1}};
    manager.SetFilter(attributes, 2);
    first[0] = 9;
    ASSERT_EQ(manager.filter.size(), 2U);
    EXPECT_EQ(manager.filter[0]->type, 0x102U);
    EXPECT_EQ(manager.filter[0]->GetBytes(), (Bytes{1, 2}));
    EXPECT_EQ(manager.filter[1]->type, 0x3U);
    EXPECT_EQ(manager.filter[1]->GetBytes(), Bytes{3});
    EXPECT_FALSE(manager.active);
}

TEST_F(FindObjectManagerTest, SetFilterKeepsDuplicates)
{
    uint8_t value[] = {1};
    const CK_ATTRIBUTE attributes[] = {{0x102, value, 1}, {0x102, value, 1}};
    manager.SetFilter(attributes, 2);
    EXPECT_EQ(manager.filter.size(), 2U);
}

TEST_F(FindObjectManagerTest, SetFilterDoesNothingWithoutATemplateOrACount)
{
    uint8_t value[] = {1};
    const CK_ATTRIBUTE attributes[] = {{0x102, value, 1}};
    manager.SetFilter(nullptr, 5);
    EXPECT_TRUE(manager.filter.empty());
    manager.SetFilter(attributes, 0);
    EXPECT_TRUE(manager.filter.empty());
    manager.SetFilter(attributes, 1);
    manager.SetFilter(nullptr, 1);
    EXPECT_EQ(manager.filter.size(), 1U);
}

TEST_F(FindObjectManagerTest, SetFilterTakesARecordOfNoBytes)
{
    const CK_ATTRIBUTE attributes[] = {{0x102, nullptr, 0}};
    manager.SetFilter(attributes, 1);
    ASSERT_EQ(manager.filter.size(), 1U);
    EXPECT_EQ(manager.filter[0]->value->length, 0);
}

TEST_F(FindObjectManagerTest, SearchWithoutFilterListsTheSlotsObjectsInTheOrderOfTheirMaking)
{
    const auto first = AddPublicKey(card.qualifiedSlot);
    AddPublicKey(card.ordinarySlot);
    const auto second = AddCertificate(card.qualifiedSlot);
    const auto third = AddPrivateKey(card.qualifiedSlot, 1);
    manager.Search(card.qualifiedSlot);
    EXPECT_EQ(manager.results, (Handles{first, second, third}));
    EXPECT_EQ(manager.cursor, 0U);
}

TEST_F(FindObjectManagerTest, SearchListsWhatMatchesTheFilter)
{
    const auto key = AddPrivateKey(card.qualifiedSlot, 1);
    AddCertificate(card.qualifiedSlot);
    AddPrivateKey(card.ordinarySlot, 1);
    auto objectClass = NumberBytes(3);
    const CK_ATTRIBUTE attributes[] = {{0x0, objectClass.data(), 4}};
    manager.SetFilter(attributes, 1);
    manager.Search(card.qualifiedSlot);
    EXPECT_EQ(manager.results, Handles{key});
}

TEST_F(FindObjectManagerTest, SearchAppendsToItsResults)
{
    const auto key = AddPublicKey(card.qualifiedSlot);
    manager.results = {7};
    manager.Search(card.qualifiedSlot);
    EXPECT_EQ(manager.results, (Handles{7, key}));
}

TEST_F(FindObjectManagerTest, SearchFindsNothingInAnEmptyStoreOrSlot)
{
    manager.Search(card.qualifiedSlot);
    manager.Search(0xFFFF);
    EXPECT_TRUE(manager.results.empty());
}

TEST_F(FindObjectManagerTest, ResetForgetsEverything)
{
    uint8_t value[] = {1};
    const CK_ATTRIBUTE attributes[] = {{0x102, value, 1}};
    manager.SetFilter(attributes, 1);
    manager.active = true;
    manager.cursor = 5;
    manager.results = {1, 2, 3};
    manager.Reset();
    EXPECT_FALSE(manager.active);
    EXPECT_EQ(manager.cursor, 0U);
    EXPECT_TRUE(manager.filter.empty());
    EXPECT_TRUE(manager.results.empty());
    manager.Reset();
    EXPECT_FALSE(manager.active);
}
