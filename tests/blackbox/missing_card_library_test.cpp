// The library without its card-access library, or with one that lacks a function.
#include "tests/support/black_box_test.h"
#include "tests/support/loaded_library.h"
#include "tests/support/system.h"

namespace blackbox {
namespace {

class MissingCardLibraryTest : public ::testing::Test
{
protected:
    static std::filesystem::path IncompleteCardLibrary()
    {
        return ScriptedFolder().parent_path() / "incomplete" / LibraryFileName("CardAPI");
    }

    FolderWithLibrary alone;
};

TEST_F(MissingCardLibraryTest, LibraryLoadsAndAnswersWithoutIt)
{
    LoadedLibrary library(alone.Library());
    CK_INFO info{};
    EXPECT_EQ(library.f->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(library.f->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
}

TEST_F(MissingCardLibraryTest, InitializeFailsAndMayBeTriedAgain)
{
    LoadedLibrary library(alone.Library());
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
    CK_INFO info{};
    EXPECT_EQ(library.f->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(library.f->C_Finalize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
}

TEST_F(MissingCardLibraryTest, InitializeFailsWhenAFunctionOfTheStartIsMissing)
{
    std::filesystem::copy_file(IncompleteCardLibrary(), alone.folder / LibraryFileName("CardAPI"));
    LoadedLibrary library(alone.Library());
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
    CK_INFO info{};
    EXPECT_EQ(library.f->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_FUNCTION_FAILED);
}

TEST_F(MissingCardLibraryTest, CardLibraryBesideACopyIsFound)
{
    std::filesystem::copy_file(ScriptedFolder() / LibraryFileName("CardAPI"),
                               alone.folder / LibraryFileName("CardAPI"));
    LoadedLibrary library(alone.Library());
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(library.f->C_Finalize(nullptr), CKR_OK);
}

} // namespace
} // namespace blackbox
