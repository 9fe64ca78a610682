// The keyboard when the system refuses what its program needs.
#include "tests/softcard/answers.h"
#include "tests/softcard/keyboard_home.h"
#include "tests/support/linux/refused_calls.h"

#include <vector>

#include <sys/syscall.h>

using namespace softcard::test;

namespace {

using KeyboardStart = KeyboardTest;

TEST_F(KeyboardStart, ThatIsRefusedCountsAsCancelled)
{
    const CardSession session = InsertAndOpen("ref2");
    const std::vector<std::vector<unsigned>> refusals = {{SYS_pipe2}, {SYS_clone, SYS_clone3, SYS_vfork}};
    for (const auto& calls : refusals) {
        Answer(std::string(bok) + "\n");
        blackbox::DoWithRefusedCalls(
            calls, EAGAIN, [session] { EXPECT_EQ(VerifyBok(session, nullptr).returned, eUserInputError); });
        EXPECT_EQ(VerifyBok(session, nullptr).returned, 0);
    }
}

} // namespace
