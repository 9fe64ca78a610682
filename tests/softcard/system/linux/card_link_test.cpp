#include "softcard/system/card_link.h"

#include "tests/softcard/card_home.h"

#include <fstream>

using namespace softcard;
using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

// A reader beside the folder of the cards, in which there is one card.
class CardLinkTest : public testing::Test
{
protected:
    CardLinkTest()
    {
        for (const char* folder : {"readers/Reader", "cards/anna", "elsewhere/anna"}) {
            fs::create_directories(home.Folder() / folder);
        }
        std::ofstream(home.Folder() / "cards/file") << "no card";
        fs::create_directory_symlink("anna", home.Folder() / "cards/linked");
    }

    [[nodiscard]] fs::path Link() const { return home.Folder() / "readers/Reader/card"; }

    [[nodiscard]] std::string CardBehindLinkTo(const fs::path& target, const std::string& cards = "cards")
    {
        fs::remove(Link());
        fs::create_symlink(target, Link());
        return CardBehind(Link(), home.Folder() / cards);
    }

    TemporaryHome home;
};

} // namespace

TEST_F(CardLinkTest, LeadsToACardInWhateverWayItsPathIsWritten)
{
    EXPECT_EQ(CardBehindLinkTo("../../cards/anna"), "anna");
    EXPECT_EQ(CardBehindLinkTo(home.Folder() / "cards/anna"), "anna");
    EXPECT_EQ(CardBehindLinkTo("../../cards/linked"), "anna");
    EXPECT_EQ(CardBehindLinkTo("../../cards/anna/."), "anna");
    EXPECT_EQ(CardBehindLinkTo("../../cards/linked/../anna"), "anna");
}

TEST_F(CardLinkTest, LeadsToNoCardElsewhere)
{
    for (const char* target :
         {"../../elsewhere/anna", "../../cards", "../../cards/missing", "..", ".", "/"}) {
        EXPECT_EQ(CardBehindLinkTo(target), "") << target;
    }
    EXPECT_EQ(CardBehindLinkTo("../../cards/anna", "no cards"), "");
    EXPECT_EQ(CardBehindLinkTo("../../cards/linked", "no cards"), "");
    fs::remove(Link());
    EXPECT_EQ(CardBehind(Link(), home.Folder() / "cards"), "");
}

TEST_F(CardLinkTest, DescribesNothingButALinkThatLeadsSomewhere)
{
    EXPECT_FALSE(DescribeInsertion(Link()));
    EXPECT_FALSE(DescribeInsertion(home.Folder() / "readers/Missing/card"));
    std::ofstream(Link()) << "no link";
    EXPECT_FALSE(DescribeInsertion(Link()));
    EXPECT_EQ(CardBehindLinkTo("../../cards/missing"), "");
    EXPECT_FALSE(DescribeInsertion(Link()));
    EXPECT_EQ(CardBehindLinkTo("../../cards/anna"), "anna");
    const auto first = DescribeInsertion(Link());
    ASSERT_TRUE(first);
    EXPECT_EQ(CardBehindLinkTo("../../elsewhere/anna"), "");
    const auto other = DescribeInsertion(Link());
    ASSERT_TRUE(other);
    EXPECT_NE(first->card, other->card);
    EXPECT_NE(first->mark, other->mark);
}
