// The library leaves with its process.
#include "tests/support/black_box_test.h"
#include "tests/support/linux/child_process.h"
#include "tests/support/loaded_library.h"
#include "tests/support/system.h"

#include <sys/mman.h>

namespace blackbox {
namespace {

class ProcessEndTest : public ::testing::Test
{
protected:
    ProcessEndTest()
        : finalizeCalls(static_cast<int*>(
              mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
        script->SetLogSwitches(scripted::LogSwitches{.toConsole = false});
        script->Always("Finalize", {.hook = [this] { ++*finalizeCalls; }});
    }

    static std::filesystem::path LibraryFile() { return ScriptedFolder() / LibraryFileName("pkcs11_x64"); }

    ScriptedCard* script = Script();
    int* finalizeCalls; // shared with the children
};

TEST_F(ProcessEndTest, ProcessMayEndWhileTheLibraryIsInitialised)
{
    EXPECT_EQ(ExitOfChild([] {
                  static auto* const library =
                      new LoadedLibrary(LibraryFile()); // stays to the end of the process
                  if (library->f->C_Initialize(nullptr) != CKR_OK) {
                      std::exit(1); // NOLINT(concurrency-mt-unsafe)
                  }
              }),
              0);
    EXPECT_EQ(*finalizeCalls, 0);
}

TEST_F(ProcessEndTest, ProcessMayEndWhileTheThreadIsInALongWait)
{
    script->SetLongestWait(std::chrono::milliseconds(500));
    EXPECT_EQ(ExitOfChild([] {
                  static auto* const library = new LoadedLibrary(LibraryFile());
                  if (library->f->C_Initialize(nullptr) != CKR_OK) {
                      std::exit(1); // NOLINT(concurrency-mt-unsafe)
                  }
                  if (!HasBegunWaits(1)) {
                      std::exit(1); // NOLINT(concurrency-mt-unsafe)
                  }
              }),
              0);
}

} // namespace
} // namespace blackbox
