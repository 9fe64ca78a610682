#include "tests/tools/tavrik-setup/careful_file_fixture.h"

using namespace setup;
namespace fs = std::filesystem;

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
