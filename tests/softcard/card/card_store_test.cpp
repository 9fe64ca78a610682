#include "softcard/card/card_store.h"

#include "tests/softcard/card_home.h"
#include "tests/softcard/refusals.h"

using namespace softcard;
using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

class CardStoreTest : public CardTest
{
protected:
    const CardStore store{{Home() / "config", State()}};
};

TEST_F(CardStoreTest, UnknownCardIsNeitherReadNorDeleted)
{
    EXPECT_EQ(FailureOf([this] { static_cast<void>(store.Load("nobody")); }), StoreFailure::unknownCard);
    EXPECT_EQ(FailureOf([this] { DeleteCard(store, "nobody"); }), StoreFailure::unknownCard);
    EXPECT_EQ(FailureOf([this] { static_cast<void>(store.Load("../cards/ref1")); }),
              StoreFailure::unknownCard);
}

// Another program may be deleting an earlier card of that name.
TEST_F(CardStoreTest, WhatIsLeftOfAnotherDeletedCardStays)
{
    WriteText(Scratch("state/cards/.ref1.deleted"), "");
    DeleteCard(store, "ref1");
    EXPECT_FALSE(store.Contains("ref1"));
    EXPECT_TRUE(fs::exists(State() / "cards/.ref1.deleted"));
    EXPECT_FALSE(fs::exists(State() / "cards/.ref1.1.deleted"));
}

} // namespace
