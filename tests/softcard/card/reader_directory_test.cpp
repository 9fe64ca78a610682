#include "softcard/card/reader_directory.h"

#include "tests/softcard/card_home.h"
#include "tests/softcard/refusals.h"

using namespace softcard;
using namespace softcard::test;

namespace {

class ReaderDirectoryTest : public CardTest
{
protected:
    const Directories directories{Home() / "config", State()};
    const ReaderDirectory readers{directories};
};

TEST_F(ReaderDirectoryTest, WithoutItsFolderHasNoReaders)
{
    EXPECT_TRUE(readers.List().empty());
    EXPECT_FALSE(readers.Find("Reader 0").has_value());
    EXPECT_TRUE(ReaderFolders(directories.Readers()).empty());
}

TEST_F(ReaderDirectoryTest, RefusesCardsAndReadersThatAreNotThere)
{
    EXPECT_EQ(FailureOf([this] { readers.Insert("nobody", "Reader 0"); }), StoreFailure::unknownCard);
    EXPECT_EQ(FailureOf([this] { readers.Remove("ref1"); }), StoreFailure::notInserted);
    EXPECT_EQ(FailureOf([this] { readers.Unplug("Reader 0"); }), StoreFailure::unknownReader);
    EXPECT_EQ(FailureOf([this] { readers.Insert("ref1", ".hidden"); }), StoreFailure::badArgument);
    EXPECT_EQ(FailureOf([this] { readers.Plug(std::string(101, 'x')); }), StoreFailure::badArgument);
    EXPECT_EQ(FailureOf([this] { readers.Plug("a\nb"); }), StoreFailure::badArgument);
}

TEST_F(ReaderDirectoryTest, RefusesASecondCardAndASecondReader)
{
    readers.Insert("ref1", "Reader 0");
    EXPECT_EQ(FailureOf([this] { readers.Insert("ref2", "Reader 0"); }), StoreFailure::readerOccupied);
    EXPECT_EQ(FailureOf([this] { readers.Insert("ref1", "Reader 1"); }), StoreFailure::alreadyInserted);
    EXPECT_EQ(readers.Find("Reader 0")->card, "ref1");
}

TEST_F(ReaderDirectoryTest, FileInThePlaceOfAReaderStays)
{
    std::filesystem::create_directories(directories.Readers());
    WriteText(directories.Readers() / "Reader 0", "");
    EXPECT_EQ(FailureOf([this] { readers.Plug("Reader 0"); }), StoreFailure::readerOccupied);
    EXPECT_EQ(FailureOf([this] { readers.Insert("ref1", "Reader 0"); }), StoreFailure::readerOccupied);
    EXPECT_EQ(FailureOf([this] { readers.Unplug("Reader 0"); }), StoreFailure::unknownReader);
    EXPECT_TRUE(readers.List().empty());
}

TEST_F(ReaderDirectoryTest, OtherEntriesAreNoReaders)
{
    readers.Plug("Reader 0");
    WriteText(directories.Readers() / "file", "");
    std::filesystem::create_directory(directories.Readers() / ".hidden");
    ASSERT_EQ(readers.List().size(), 1U);
    EXPECT_EQ(readers.List()[0].name, "Reader 0");
    EXPECT_TRUE(readers.List()[0].card.empty());
    EXPECT_EQ(ReaderFolders(directories.Readers()).size(), 1U);
}

} // namespace
