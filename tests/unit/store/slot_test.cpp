#include "src/store/slot.h"

#include "tests/unit/store/store_fixture.h"

using SlotTest = StoreTest;

TEST_F(SlotTest, BeginsWithoutMechanismsAndWithAnEmptyRecord)
{
    const Slot slot(0x7FFFFFFF, 5, "Sig_ZEP");
    EXPECT_EQ(slot.slotId, 0x7FFFFFFFU);
    EXPECT_EQ(slot.tokenId, 5U);
    EXPECT_EQ(slot.label, "Sig_ZEP");
    EXPECT_TRUE(slot.mechanisms.empty());
    EXPECT_EQ(slot.info.flags, 0U);
}

TEST_F(SlotTest, TakesItsObjectsOutOfTheStoreWhenItGoes)
{
    const auto card = AddCard("Reader", 1);
    const auto own = AddPublicKey(card.qualifiedSlot);
    const auto other = AddPublicKey(card.ordinarySlot);
    Cache().RemoveSlots({card.qualifiedSlot});
    EXPECT_EQ(Cache().GetObject(own), nullptr);
    EXPECT_NE(Cache().GetObject(other), nullptr);
}

TEST_F(SlotTest, FindsNothingMoreToTakeOutASecondTime)
{
    const auto card = AddCard("Reader", 1);
    AddPublicKey(card.qualifiedSlot);
    Cache().RemoveObjectsOfSlots({card.qualifiedSlot});
    EXPECT_NO_THROW(Cache().RemoveSlots({card.qualifiedSlot}));
    EXPECT_TRUE(Cache().GetObjectsOfSlot(card.qualifiedSlot).empty());
}

TEST_F(SlotTest, LabelsAreThoseOfTheKeyFamilies)
{
    EXPECT_EQ(qualifiedLabel, "Sig_ZEP");
    EXPECT_EQ(ordinaryLabel, "Sig_EP");
}
