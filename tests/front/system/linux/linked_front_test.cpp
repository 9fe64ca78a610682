// A front that is reached by way of links, and by a path that means something else later.
#include "tests/front/front_test.h"
#include "tests/support/script.h"
#include "tests/support/temporary_folder.h"

namespace front_test {
namespace {

using LinkedFrontTest = FrontTest;

// A front and what it needs in a folder of their own.
class FolderOfItsOwn
{
public:
    explicit FolderOfItsOwn(const std::string& frontFolder)
    {
        const auto real = folder.Path() / frontFolder;
        std::filesystem::create_directories(real);
        std::filesystem::copy_file(FrontIn(LibraryFolder()), FrontIn(real));
        for (const char* name : {"libpkcs11_x64.so", "libCardAPI.so"}) {
            std::filesystem::create_symlink(blackbox::ScriptedFolder() / name, real / name);
        }
    }

    const std::filesystem::path& Path() const { return folder.Path(); }

private:
    TemporaryFolder folder{"tavrik_folder_"};
};

TEST_F(LinkedFrontTest, LinkedFrontFindsTheLibraryBesideItsFile)
{
    const FolderOfItsOwn folder("real");
    std::filesystem::create_symlink("real/tavrik-pkcs11.so", folder.Path() / "tavrik-pkcs11.so");
    CK_FUNCTION_LIST* linked = LoadFront(folder.Path());
    EXPECT_EQ(linked->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(linked->C_Finalize(nullptr), CKR_OK);
}

TEST_F(LinkedFrontTest, FrontLoadedByARelativePathFindsItsLibraryAfterAChangeOfFolder)
{
    const FolderOfItsOwn folder("");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    CK_FUNCTION_LIST* loaded = LoadFront(".");
    std::filesystem::current_path(before);
    EXPECT_EQ(loaded->C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(loaded->C_Finalize(nullptr), CKR_OK);
}

} // namespace
} // namespace front_test
