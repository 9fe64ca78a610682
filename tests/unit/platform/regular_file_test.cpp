#include "src/platform/regular_file.h"

#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

class RegularFileTest : public testing::Test
{
protected:
    std::filesystem::path Path(const std::string& name) const { return folder.Path() / name; }

    std::filesystem::path Made(const std::string& name, const std::string& text) const
    {
        std::ofstream(Path(name), std::ios::binary) << text;
        return Path(name);
    }
    static std::string TextOf(const std::filesystem::path& file)
    {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    // What stands under a name without being a file.
    std::vector<std::filesystem::path> OtherThings() const
    {
        std::filesystem::create_directory(Path("folder"));
        EXPECT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
        return {Path("folder"), Path("pipe"), "/dev/null", Path("nothing")};
    }

    const TemporaryFolder folder{"tavrik_file_"};
};

} // namespace

TEST_F(RegularFileTest, IsReadInPiecesUpToItsEnd)
{
    InputFile file(Made("file", "abcdef"), Links::refused, Content::binary);
    ASSERT_TRUE(file.IsOpen());
    EXPECT_EQ(file.Size(), 6U);
    std::string text(4, '\0');
    EXPECT_EQ(file.Read(text.data(), 4), 4U);
    EXPECT_EQ(text, "abcd");
    EXPECT_EQ(file.Read(text.data(), 4), 2U);
    EXPECT_EQ(text.substr(0, 2), "ef");
    EXPECT_EQ(file.Read(text.data(), 4), 0U);
}

TEST_F(RegularFileTest, NothingElseIsOpened)
{
    for (const auto& path : OtherThings()) {
        InputFile file(path, Links::followed, Content::binary);
        EXPECT_FALSE(file.IsOpen()) << path;
        EXPECT_EQ(file.Size(), 0U) << path;
        char byte = 0;
        EXPECT_EQ(file.Read(&byte, 1), 0U) << path;
        EXPECT_EQ(SizeOfRegularFile(path), std::nullopt) << path;
    }
}

TEST_F(RegularFileTest, LinkIsFollowedOrRefusedAsAsked)
{
    std::filesystem::create_symlink(Made("file", "abc"), Path("link"));
    EXPECT_TRUE(InputFile(Path("link"), Links::followed, Content::binary).IsOpen());
    EXPECT_FALSE(InputFile(Path("link"), Links::refused, Content::binary).IsOpen());
    EXPECT_EQ(SizeOfRegularFile(Path("link")), std::nullopt);
    EXPECT_EQ(SizeOfRegularFile(Path("file")), 3U);
}

TEST_F(RegularFileTest, TextIsAppendedToWhatIsThere)
{
    AppendedFile file;
    file.Write("lost");
    file.Open(Made("file", "one "));
    file.Write("two ");
    std::ofstream(Path("file"), std::ios::app | std::ios::binary) << "of another ";
    file.Write("three");
    EXPECT_EQ(TextOf(Path("file")), "one two of another three");
}

TEST_F(RegularFileTest, OpenedTwiceItTakesNothingUntilItIsClosedAndOpened)
{
    AppendedFile file;
    file.Open(Path("file"));
    file.Open(Path("file"));
    file.Write("lost");
    file.Close();
    file.Write("lost");
    file.Open(Path("file"));
    file.Write("kept");
    EXPECT_EQ(TextOf(Path("file")), "kept");
}

TEST_F(RegularFileTest, AfterAFailureNothingIsWrittenUntilItIsOpenedAnew)
{
    AppendedFile file;
    for (const auto& path : OtherThings()) {
        if (path != Path("nothing")) {
            file.Open(path);
            file.Write("lost");
        }
    }
    file.Open(Path("file"));
    file.Write("kept");
    EXPECT_EQ(TextOf(Path("file")), "kept");
}
