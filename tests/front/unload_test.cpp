#include "tests/front/front_test.h"
#include "tests/support/script.h"
#include "tests/support/system.h"

#include <stdexcept>

namespace front_test {
namespace {

using UnloadTest = FrontTest;

// The library is let go of then.
TEST_F(UnloadTest, FinalizeThatFailsAllowsTheNextInitialize)
{
    StartWithCard();
    script->Next("Finalize", {.hook = [] { throw std::runtime_error("no such function"); }});
    EXPECT_EQ(f->C_Finalize(nullptr), CKR_FUNCTION_FAILED);
    CK_INFO info{};
    EXPECT_EQ(f->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED);
    Start();
    EXPECT_EQ(Slots().size(), 2U);
}

TEST_F(UnloadTest, FrontThatIsUnloadedWhileItRunsTakesItsLibraryAlong)
{
    const auto file = FrontIn(blackbox::ScriptedFolder());
    StartWithCard();
    ASSERT_EQ(Login(Open(ordinary)), CKR_OK);
    ASSERT_NE(blackbox::LoadedFrom(ScriptedLibrary()), nullptr);
    blackbox::Unload(blackbox::LoadedFrom(file)); // the fixture's
    EXPECT_EQ(blackbox::LoadedFrom(file), nullptr);
    EXPECT_EQ(blackbox::LoadedFrom(ScriptedLibrary()), nullptr);
    f = LoadFront(blackbox::ScriptedFolder());
    Start();
    EXPECT_EQ(Slots().size(), 2U);
    EXPECT_EQ(State(Open(ordinary)), CKS_RO_PUBLIC_SESSION);
}

} // namespace
} // namespace front_test
