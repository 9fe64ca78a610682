#include "softcard/system/files.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/environment.h"
#include "tests/softcard/file_age.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

using namespace softcard::test;

namespace {

class Tool : public CardTest
{
protected:
    static void ExpectFailure(const std::vector<std::string>& arguments, int exitCode,
                              const std::string& sentence)
    {
        const Finished failed = StartTool(arguments);
        EXPECT_EQ(failed.exitCode, exitCode);
        EXPECT_EQ(failed.errors, "tavrik-card: " + sentence + "\n");
        EXPECT_EQ(failed.output, "");
    }

    static std::string List()
    {
        const Finished listed = StartTool({"list"});
        EXPECT_EQ(listed.exitCode, 0) << listed.errors;
        return listed.output;
    }
};

TEST_F(Tool, ListsTheCards)
{
    Insert("ref2", "Reader 7");
    const CardSession session = Open(u"Reader 7");
    VerifyBok(session, wrongCode);
    EXPECT_EQ(List(), "blank\t-\t-\t-\tblank\n"
                      "ref1\t-\t3\t3\tref1\n"
                      "ref2\tReader 7\t2\t3\tŽofia Kľačanská\n"
                      "ref3\t-\t3\t3\tref3\n"
                      "ref4\t-\t3\t3\tref4\n");
}

TEST_F(Tool, RefusesAnUnknownCard)
{
    ExpectFailure({"insert", "nobody"}, exitUnknownCard, "There is no card named \"nobody\".");
    ExpectFailure({"remove", "nobody"}, exitUnknownCard, "There is no card named \"nobody\".");
}

TEST_F(Tool, RefusesANameThatIsTaken)
{
    const std::string before = softcard::ReadFile(State() / "cards/ref2/card.json");
    ExpectFailure({"new", "ref2"}, exitNameTaken, "There is already a card named \"ref2\".");
    EXPECT_EQ(softcard::ReadFile(State() / "cards/ref2/card.json"), before);
}

TEST_F(Tool, RefusesACardInTwoReaders)
{
    Insert("ref2");
    const std::string sentence = "The card \"ref2\" is already in the reader \"Reader 0\".";
    ExpectFailure({"insert", "ref2", "Another"}, exitAlreadyInserted, sentence);
    ExpectFailure({"insert", "ref2"}, exitAlreadyInserted, sentence);
}

TEST_F(Tool, RefusesTwoCardsInAReader)
{
    Insert("ref2");
    ExpectFailure({"insert", "ref3"}, exitReaderOccupied, "The card \"ref2\" is in the reader \"Reader 0\".");
    Remove("ref2");
    Insert("ref3");
}

TEST_F(Tool, RefusesToRemoveACardThatIsInNoReader)
{
    ExpectFailure({"remove", "ref2"}, exitNotInserted, "The card \"ref2\" is in no reader.");
}

TEST_F(Tool, MakesOrdinaryKeysThatSignWhatTheyAreGivenUnlessAskedForOthers)
{
    ASSERT_EQ(StartTool({"new", "usual"}).exitCode, 0);
    const CardSession session = InsertAndOpen("usual");
    CardKeyInfo qualified{};
    CardKeyInfo ordinary{};
    EXPECT_EQ(Library().qesGetKeyInfo(session, 0, &qualified, true), 0);
    EXPECT_EQ(Library().esGetKeyInfo(session, 0, &ordinary, true), 0);
    EXPECT_EQ(qualified.keyReference, 2U);
    EXPECT_EQ(ordinary.keyReference, 1U);
}

TEST_F(Tool, MakesTheNumberAndSizeOfKeysThatIsAskedFor)
{
    ASSERT_EQ(StartTool({"new", "Some_card.1-x", "--bok", "b", "--pin", "a longer code", "--bits", "2048",
                         "--qes-reference", "3", "--es-reference", "1"})
                  .exitCode,
              0);
    EXPECT_NE(List().find("Some_card.1-x\t-\t3\t3\tSome_card.1-x\n"), std::string::npos)
        << "made, and in no reader";
    const CardSession session = InsertAndOpen("Some_card.1-x");
    CardKeyInfo qualified{};
    CardKeyInfo ordinary{};
    EXPECT_EQ(Library().qesGetKeyInfo(session, 0, &qualified, true), 0);
    EXPECT_EQ(Library().esGetKeyInfo(session, 0, &ordinary, true), 0);
    EXPECT_EQ(qualified.keyReference, 3U);
    EXPECT_EQ(ordinary.keyReference, 1U);
    EXPECT_EQ(VerifyBok(session, "b").returned, 0);
    EXPECT_EQ(VerifyPin(session, "a longer code").returned, 0);
}

TEST_F(Tool, MakesACardWithTheGivenDescription)
{
    const std::string manufacturer(32, 'm');
    ASSERT_EQ(StartTool({"new", "told", "--manufacturer", manufacturer, "--model", "Sixteen bytes xx",
                         "--hardware-version", "3.4", "--firmware-version", "255.0", "--puk", "1"})
                  .exitCode,
              0);
    const CardSession session = InsertAndOpen("told");
    CardTokenInfo info{};
    ASSERT_EQ(Library().getTokenInfo(session, &info, nullptr, nullptr), 0);
    EXPECT_EQ(std::string(info.manufacturer, 32), manufacturer);
    EXPECT_EQ(info.unread68[0], 0);
    EXPECT_EQ(std::string(info.model, 16), "Sixteen bytes xx");
    EXPECT_EQ(info.unread116[0], 0);
    EXPECT_EQ(std::vector<int>(info.versions, info.versions + 4), (std::vector<int>{3, 4, 255, 0}));
}

TEST_F(Tool, ShowsACard)
{
    Insert("ref2");
    const Finished shown = StartTool({"show", "ref2"});
    EXPECT_EQ(shown.exitCode, 0) << shown.errors;
    EXPECT_NE(shown.output.find("Subject      Žofia Kľačanská\n"), std::string::npos) << shown.output;
    EXPECT_NE(shown.output.find("Reader       Reader 0\n"), std::string::npos);
    EXPECT_NE(shown.output.find("PIN          usable, 3 of 3 tries left\n"), std::string::npos);
    ExpectFailure({"show", "nobody"}, exitUnknownCard, "There is no card named \"nobody\".");
}

TEST_F(Tool, ListsAsJson)
{
    Insert("ref2");
    ASSERT_EQ(StartTool({"lock", "ref2", "pin"}).exitCode, 0);
    const auto cards = nlohmann::json::parse(StartTool({"list", "--json"}).output);
    ASSERT_EQ(cards.size(), 5U);
    EXPECT_EQ(cards[0]["name"], "blank");
    EXPECT_TRUE(cards[0]["reader"].is_null());
    EXPECT_EQ(cards[0]["bok"]["state"], "not initialised");
    EXPECT_TRUE(cards[0]["bok"]["triesLeft"].is_null());
    EXPECT_EQ(cards[2]["reader"], "Reader 0");
    EXPECT_EQ(cards[2]["pin"]["state"], "locked");
    EXPECT_EQ(cards[2]["bok"]["triesLeft"], 3);
    EXPECT_EQ(cards[2]["subject"], "Žofia Kľačanská");

    const auto card = nlohmann::json::parse(StartTool({"show", "ref4", "--json"}).output);
    EXPECT_EQ(card["qes"][0]["bits"], 3072);
    EXPECT_EQ(card["es"][0]["reference"], 4);
    EXPECT_EQ(card["hardwareVersion"], "1.0");
    EXPECT_EQ(card["faults"].size(), 0U);
}

TEST_F(Tool, DeletesACard)
{
    ASSERT_EQ(StartTool({"delete", "ref1"}).exitCode, 0);
    EXPECT_EQ(List().find("ref1"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(State() / "cards/ref1"));
    ExpectFailure({"delete", "ref1"}, exitUnknownCard, "There is no card named \"ref1\".");
    const CardSession session = InsertAndOpen("ref2");
    ExpectFailure({"delete", "ref2"}, exitAlreadyInserted,
                  "The card \"ref2\" is in the reader \"Reader 0\"; --force takes it out first.");
    ASSERT_EQ(StartTool({"delete", "ref2", "--force"}).exitCode, 0);
    EXPECT_EQ(VerifyBok(session, bok).returned, 92);
    ASSERT_EQ(StartTool({"new", "ref2", "--puk", "1"}).exitCode, 0) << "the name is free again";
}

TEST_F(Tool, ConnectsAndDisconnectsReaders)
{
    ASSERT_EQ(StartTool({"plug", "First"}).exitCode, 0);
    Insert("ref2", "Second");
    const CardSession session = Open(u"Second");
    ASSERT_EQ(StartTool({"plug", "Second"}).exitCode, 0);
    EXPECT_EQ(FlagsOf(session), cardPresentFlag) << "the card stays in a reader that was there already";
    ASSERT_EQ(StartTool({"unplug", "First"}).exitCode, 0);
    ASSERT_EQ(StartTool({"unplug", "Second"}).exitCode, 0);
    uint32_t flags = 0;
    EXPECT_EQ(Library().getSessionFlags(session, &flags), 92);
    ExpectFailure({"unplug", "Second"}, exitUnknownReader, "There is no reader named \"Second\".");
    Insert("ref2", "Third");
}

TEST_F(Tool, MakesOneOfTwoCardsOfOneName)
{
    const Process first = StartProgram({CARD_TOOL, "new", "twin"});
    const Finished second = StartTool({"new", "twin"});
    const int firstCode = AwaitProgram(first);
    EXPECT_EQ(std::min(firstCode, second.exitCode), 0);
    EXPECT_EQ(std::max(firstCode, second.exitCode), exitNameTaken);
    for (const auto& entry : std::filesystem::directory_iterator(State() / "cards")) {
        EXPECT_FALSE(entry.path().filename().string().starts_with('.')) << entry.path();
    }
}

TEST_F(Tool, MakesTheAuthorityOnce)
{
    const std::string before = softcard::ReadFile(State() / "authority/issuing.pem");
    ASSERT_EQ(StartTool({"new", "another"}).exitCode, 0);
    EXPECT_EQ(softcard::ReadFile(State() / "authority/issuing.pem"), before);
}

TEST_F(Tool, ClearsAwayWhatAKilledOneLeft)
{
    const auto make = [this](const std::string& name, std::chrono::hours age) {
        std::filesystem::path folder = State() / "cards" / name;
        std::filesystem::create_directory(folder);
        WriteText(folder / "qes-1.key", "half a card");
        SetAge(folder, age);
        return folder;
    };
    const auto abandoned = make(".new-aaaaaa", std::chrono::hours(25));
    const auto fresh = make(".new-bbbbbb", std::chrono::hours(23));
    const auto halfDeleted = make(".anna.deleted", std::chrono::hours(25));
    const auto hidden = make(".other", std::chrono::hours(25));
    ASSERT_EQ(StartTool({"new", "another"}).exitCode, 0);
    EXPECT_FALSE(std::filesystem::exists(abandoned));
    EXPECT_TRUE(std::filesystem::exists(fresh)) << "somebody may be at it";
    EXPECT_FALSE(std::filesystem::exists(halfDeleted));
    EXPECT_TRUE(std::filesystem::exists(hidden));
}

TEST(ToolAlone, SaysWhenTheStoreCannotBeReached)
{
    const TemporaryHome home;
    WriteText(home.Folder() / "file", "");
    SetVariable("TAVRIK_HOME", home.Folder() / "file");
    const Finished failed = StartTool({"list"});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_TRUE(failed.errors.starts_with("tavrik-card: "));
}

TEST(ToolAlone, ListsNothingInANewStore)
{
    const TemporaryHome home;
    const Finished listed = StartTool({"list"});
    EXPECT_EQ(listed.exitCode, 0);
    EXPECT_EQ(listed.output, "");
}

TEST(ToolAlone, HelpsOnTheStandardOutput)
{
    const Finished helped = StartTool({"--help"});
    EXPECT_EQ(helped.exitCode, 0);
    EXPECT_NE(helped.output.find("insert"), std::string::npos);
}

} // namespace
