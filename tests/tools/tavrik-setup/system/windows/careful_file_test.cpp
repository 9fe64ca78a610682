#include "tools/tavrik-setup/files/careful_file.h"

#include "tests/support/temporary_folder.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/files/system/windows/folder_rights.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

using namespace setup;
namespace fs = std::filesystem;

namespace {

class CarefulFile : public testing::Test
{
protected:
    static void Write(const fs::path& path, const std::string& content)
    {
        std::ofstream(path, std::ios::binary) << content;
    }

    // Nothing lies beside the files that the test has made.
    [[nodiscard]] size_t Count() const
    {
        return static_cast<size_t>(
            std::distance(fs::directory_iterator(folder.Path()), fs::directory_iterator()));
    }

    // Gives the folder these rights alone, in Windows' notation.
    void Permit(const wchar_t* rights)
    {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(rights, SDDL_REVISION_1, &descriptor,
                                                                         nullptr));
        EXPECT_TRUE(SetFileSecurityW(folder.Path().c_str(), DACL_SECURITY_INFORMATION, descriptor));
        LocalFree(descriptor);
    }

    TemporaryFolder folder{"careful-file-"};
    fs::path file = folder.Path() / L"con\u0161fig";
};

} // namespace

TEST_F(CarefulFile, IsMadeReplacedAndTakenAway)
{
    ReplaceContent(file, std::nullopt, "before\n", Readers::owner);
    EXPECT_EQ(ReadIfThere(file), "before\n");
    ReplaceContent(file, "before\n", "after", Readers::owner);
    EXPECT_EQ(ReadIfThere(file), "after");
    EXPECT_EQ(Count(), 1U);
    RemoveFile(file, "after");
    EXPECT_EQ(Count(), 0U);
}

TEST_F(CarefulFile, RefusesWhatIsNoRegularFile)
{
    fs::create_directory(file);
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
    EXPECT_THROW(static_cast<void>(ReadIfThere(folder.Path() / "NUL")), Refusal);
}

TEST_F(CarefulFile, RefusesWhatIsTooLarge)
{
    Write(file, std::string(1048577, 'x'));
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
}

TEST_F(CarefulFile, LeavesAFileThatHasChangedMeanwhile)
{
    Write(file, "other");
    EXPECT_THROW(ReplaceContent(file, "before", "after", Readers::owner), Refusal);
    EXPECT_THROW(ReplaceContent(file, std::nullopt, "after", Readers::owner), Refusal);
    EXPECT_THROW(RemoveFile(file, "before"), Refusal);
    EXPECT_EQ(ReadIfThere(file), "other");
    EXPECT_EQ(Count(), 1U);
}

TEST_F(CarefulFile, ThatIsNotThereHasNoContent)
{
    EXPECT_EQ(ReadIfThere(file), std::nullopt);
    EXPECT_EQ(ReadIfThere(folder.Path() / "no" / "folder"), std::nullopt);
    EXPECT_FALSE(IsThere(file));
    EXPECT_TRUE(IsThere(folder.Path()));
}

TEST_F(CarefulFile, MakesFoldersAndTakesThemAwayWhenTheyAreEmpty)
{
    const fs::path deep = folder.Path() / "a" / "b";
    const auto made = MakeFolders(deep, Readers::owner);
    ASSERT_EQ(made, (std::vector{deep.parent_path(), deep}));
    EXPECT_TRUE(MakeFolders(deep, Readers::owner).empty());
    Write(deep.parent_path() / "mine", "x");
    DeleteEmptyFolders(made);
    EXPECT_FALSE(fs::exists(deep));
    EXPECT_TRUE(fs::exists(deep.parent_path()));
}

TEST_F(CarefulFile, SaysWhereItMayNotBeWritten)
{
    EXPECT_NO_THROW(RequireWritable(file));
    EXPECT_NO_THROW(RequireWritable(folder.Path() / "no" / "folder" / "yet"));
    EXPECT_THROW(RequireWritable("Y:\\no\\drive"), Refusal);
}

TEST_F(CarefulFile, RefusesFoldersThatOthersCanWriteTo)
{
    Write(file, "before");
    EXPECT_TRUE(BelongsToTrusted(folder.Path()));
    EXPECT_FALSE(OthersCanWrite(folder.Path()));
    Permit(L"D:P(A;OICI;FA;;;WD)"); // everybody
    EXPECT_TRUE(OthersCanWrite(folder.Path()));
    EXPECT_THROW(static_cast<void>(ReadIfThere(file)), Refusal);
    EXPECT_THROW(ReplaceContent(file, "before", "after", Readers::owner), Refusal);
    EXPECT_THROW(static_cast<void>(MakeFolders(folder.Path() / "a", Readers::owner)), Refusal);
}
