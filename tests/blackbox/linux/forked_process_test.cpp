// The library leaves with a forked child of its process, whose parent goes on.
#include "tests/support/black_box_test.h"
#include "tests/support/linux/child_process.h"
#include "tests/support/loaded_library.h"
#include "tests/support/system.h"

#include <sys/mman.h>

namespace blackbox {
namespace {

TEST(ForkedProcessTest, ChildOfAnInitialisedProcessMayEnd)
{
    auto* const finalizeCalls = static_cast<int*>(mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE,
                                                       MAP_SHARED | MAP_ANONYMOUS, -1, 0)); // the child's too
    ScriptedCard* const script = Script();
    script->SetLogSwitches(scripted::LogSwitches{.toConsole = false});
    script->Always("Finalize", {.hook = [finalizeCalls] { ++*finalizeCalls; }});

    LoadedLibrary library(ScriptedFolder() / LibraryFileName("pkcs11_x64"));
    ASSERT_EQ(library.f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(ExitOfChild([] {}), 0) << "the monitoring thread is the parent's";
    EXPECT_EQ(*finalizeCalls, 0);
    CK_INFO info{};
    EXPECT_EQ(library.f->C_GetInfo(&info), CKR_OK) << "the parent goes on";
    EXPECT_EQ(library.f->C_Finalize(nullptr), CKR_OK);
}

} // namespace
} // namespace blackbox
