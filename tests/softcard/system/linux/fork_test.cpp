// A process that forks while it uses a card.
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"

#include <unistd.h>

using namespace softcard::test;

namespace {

class Forked : public CardTest
{
};

TEST_F(Forked, ChildDoesNotEndTheTransactionOfItsParent)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(Library().startTransaction(session), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        Library().stopTransaction(session);
        Library().finalize();
        _exit(0);
    }
    EXPECT_EQ(AwaitProgram(child), 0);
    EXPECT_EQ(RunProgram({TRY_CODE, "bok", bok}).exitCode, eStatusSHARING_VIOLATION) << "it goes on";
    EXPECT_EQ(Library().stopTransaction(session), 0);
    EXPECT_EQ(RunProgram({TRY_CODE, "bok", bok}).exitCode, 0);
}

} // namespace
