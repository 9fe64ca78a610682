// What lies in the current folder is not loaded.
#include "tests/support/black_box_test.h"
#include "tests/support/loaded_library.h"
#include "tests/support/system.h"

#include <windows.h>

namespace blackbox {
namespace {

// The test's working folder has a card-access library, and the library under test has none beside it.
class CurrentFolderTest : public ::testing::Test
{
protected:
    CurrentFolderTest()
    {
        const std::string file = LibraryFileName("CardAPI");
        std::filesystem::create_directory(planted);
        std::filesystem::copy_file(ScriptedFolder() / file, planted / file);
        std::filesystem::current_path(planted);
    }
    ~CurrentFolderTest() override { std::filesystem::current_path(before); }

    FolderWithLibrary alone;
    const std::filesystem::path planted = alone.folder / "planted";
    const std::filesystem::path before = std::filesystem::current_path();
};

TEST_F(CurrentFolderTest, CardLibraryIsNotTakenFromThere)
{
    LoadedLibrary library(alone.Library());
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
}

TEST_F(CurrentFolderTest, CardLibraryIsNotTakenFromThereWhenTheHostHasSetTheSearchBack)
{
    LoadedLibrary library(alone.Library());
    SetDllDirectoryW(nullptr);
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
}

TEST_F(CurrentFolderTest, CardLibraryIsNotTakenFromThereWhenThePathHasAnEmptyPart)
{
    LoadedLibrary library(alone.Library());
    SetEnvironmentVariableW(L"PATH", L";.;");
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
}

TEST_F(CurrentFolderTest, CardLibraryIsTakenFromAFolderOfThePath)
{
    LoadedLibrary library(alone.Library());
    std::filesystem::current_path(before);
    SetEnvironmentVariableW(L"PATH", (L";.;" + planted.native()).c_str());
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(library.f->C_Finalize(nullptr), CKR_OK);
}

} // namespace
} // namespace blackbox
