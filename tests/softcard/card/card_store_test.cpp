#include "softcard/card/card_store.h"

#include "softcard/base/store_error.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/refusals.h"
#include "tests/support/linux/refused_calls.h"

#include <sys/syscall.h>

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

TEST_F(CardStoreTest, CardWhoseFolderCannotBeMovedIsNotDeleted)
{
    EXPECT_THROW(blackbox::DoWithRefusedCalls({SYS_renameat2}, EROFS, [this] { DeleteCard(store, "ref1"); }),
                 std::system_error);
    EXPECT_TRUE(store.Contains("ref1"));
    EXPECT_EQ(store.Load("ref1").name, "ref1");
}

TEST_F(CardStoreTest, DeletedCardWhoseFilesStayIsToldWithItsFolder)
{
    try {
        blackbox::DoWithRefusedCalls({SYS_unlinkat, SYS_unlink, SYS_rmdir}, EPERM,
                                     [this] { DeleteCard(store, "ref1"); });
        FAIL() << "nothing was told";
    } catch (const StoreTrouble& trouble) {
        const std::string place = (State() / "cards/.ref1.deleted").string();
        EXPECT_NE(std::string(trouble.what()).find('"' + place + '"'), std::string::npos) << trouble.what();
    }
    EXPECT_FALSE(store.Contains("ref1"));
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

TEST_F(CardStoreTest, LockThatTheDiskDoesNotHaveIsNoBusyCard)
{
    EXPECT_THROW(
        blackbox::DoWithRefusedCalls({SYS_flock}, ENOLCK, [this] { LockCard(store.FolderOf("ref1")); }),
        std::system_error);
}

} // namespace
