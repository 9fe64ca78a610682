// What becomes of a card when the system refuses a step.
#include "softcard/card/card_store.h"

#include "softcard/base/store_error.h"
#include "tests/softcard/card_home.h"
#include "tests/support/linux/refused_calls.h"

#include <sys/syscall.h>

using namespace softcard;
using namespace softcard::test;

namespace {

class RefusedCardSteps : public CardTest
{
protected:
    const CardStore store{{Home() / "config", State()}};
};

TEST_F(RefusedCardSteps, CardWhoseFolderCannotBeMovedIsNotDeleted)
{
    EXPECT_THROW(blackbox::DoWithRefusedCalls({SYS_renameat2}, EROFS, [this] { DeleteCard(store, "ref1"); }),
                 std::system_error);
    EXPECT_TRUE(store.Contains("ref1"));
    EXPECT_EQ(store.Load("ref1").name, "ref1");
}

TEST_F(RefusedCardSteps, DeletedCardWhoseFilesStayIsToldWithItsFolder)
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

TEST_F(RefusedCardSteps, LockThatTheDiskDoesNotHaveIsNoBusyCard)
{
    EXPECT_THROW(
        blackbox::DoWithRefusedCalls({SYS_flock}, ENOLCK, [this] { LockCard(store.FolderOf("ref1")); }),
        std::system_error);
}

} // namespace
