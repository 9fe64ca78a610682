// The library in a host that has another card-access library.
#include "tests/support/black_box_test.h"
#include "tests/support/loaded_library.h"
#include "tests/support/system.h"

#include <dlfcn.h>

namespace blackbox {
namespace {

TEST(ForeignCardLibraryTest, WhatTheOwnOneLacksIsNotTakenFromOneInTheGlobalScope)
{
    const std::string file = LibraryFileName("CardAPI");
    void* const foreign = dlopen((ScriptedFolder() / file).c_str(), RTLD_NOW | RTLD_GLOBAL);
    ASSERT_NE(foreign, nullptr);
    ASSERT_NE(dlsym(RTLD_DEFAULT, "CardAPI_GetReaderList"), nullptr);

    const FolderWithLibrary alone;
    std::filesystem::copy_file(ScriptedFolder().parent_path() / "incomplete" / file, alone.folder / file);
    LoadedLibrary library(alone.Library());
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
    dlclose(foreign);
}

} // namespace
} // namespace blackbox
