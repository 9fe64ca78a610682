// The library loaded through a link.
#include "tests/support/black_box_test.h"
#include "tests/support/loaded_library.h"
#include "tests/support/system.h"

namespace blackbox {
namespace {

class LinkedLibraryTest : public ::testing::Test
{
protected:
    static std::filesystem::path IncompleteCardLibrary()
    {
        return ScriptedFolder().parent_path() / "incomplete" / LibraryFileName("CardAPI");
    }

    FolderWithLibrary alone;
};

TEST_F(LinkedLibraryTest, CardLibraryIsLookedForBesideTheLinkAndNotBesideItsTarget)
{
    const std::filesystem::path linkFolder = alone.folder / "link";
    std::filesystem::create_directory(linkFolder);
    std::filesystem::create_symlink(alone.Library(), linkFolder / LibraryFileName("pkcs11_x64"));
    std::filesystem::copy_file(IncompleteCardLibrary(), alone.folder / LibraryFileName("CardAPI"));
    std::filesystem::copy_file(ScriptedFolder() / LibraryFileName("CardAPI"),
                               linkFolder / LibraryFileName("CardAPI"));
    LoadedLibrary library(linkFolder / LibraryFileName("pkcs11_x64"));
    EXPECT_EQ(library.f->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(library.f->C_Finalize(nullptr), CKR_OK);
}

} // namespace
} // namespace blackbox
