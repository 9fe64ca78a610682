#include "softcard/card/card_maker.h"

#include "softcard/card/card_store.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/file_age.h"
#include "tests/softcard/refusals.h"

#include <functional>

using namespace softcard;
using namespace softcard::test;

namespace {

namespace fs = std::filesystem;

class CardMakerTest : public CardTest
{
protected:
    // A card without keys, which takes no time.
    CardMakerTest()
    {
        request.name = "fresh";
        request.puk = MakeSecretText("87654321");
        request.qualified.certificates = 0;
        request.ordinary.certificates = 0;
    }

    void Make() { MakeCard(directories, request); }

    // The change makes the request one that is refused, and nothing is left of it.
    void ExpectRefused(StoreFailure failure, const std::function<void(NewCard&)>& change)
    {
        const NewCard before = request;
        change(request);
        EXPECT_EQ(FailureOf([this] { Make(); }), failure);
        EXPECT_FALSE(fs::exists(directories.Cards() / "fresh"));
        request = before;
    }

    const Directories directories{Home() / "config", State()};
    NewCard request;
};

TEST_F(CardMakerTest, MakesACardWithoutKeys)
{
    Make();
    const Card made = CardStore(directories).Load("fresh");
    EXPECT_EQ(made.subject, "fresh");
    EXPECT_TRUE(made.qualifiedKeys.empty());
    EXPECT_TRUE(made.ordinaryKeys.empty());
}

TEST_F(CardMakerTest, RefusesWhatNoCardHas)
{
    const auto badArgument = StoreFailure::badArgument;
    for (const uint32_t bits : {0U, 2040U, 2049U, 4104U}) {
        ExpectRefused(badArgument, [bits](NewCard& card) { card.ordinary.bits = bits; });
    }
    for (const uint32_t reference : {0U, 5U}) {
        ExpectRefused(badArgument, [reference](NewCard& card) { card.qualified.reference = reference; });
    }
    ExpectRefused(badArgument, [](NewCard& card) { card.ordinary.certificates = mostKeys + 1; });
    for (const std::string& text :
         {std::string(), std::string(33, 'x'), std::string("\xFF"), std::string("a\tb")}) {
        ExpectRefused(badArgument, [&text](NewCard& card) { card.manufacturer = text; });
        ExpectRefused(badArgument, [&text](NewCard& card) { card.model = text; });
    }
    for (const std::string& text :
         {std::string(65, 'x'), std::string("\xFF"), std::string("a\x7F"), std::string("\n")}) {
        ExpectRefused(badArgument, [&text](NewCard& card) { card.subject = text; });
    }
    ExpectRefused(badArgument, [](NewCard& card) { card.bok = MakeSecretText(""); });
    ExpectRefused(badArgument, [](NewCard& card) { card.pin = MakeSecretText(""); });
    ExpectRefused(badArgument, [](NewCard& card) { card.puk = MakeSecretText(""); });
    ExpectRefused(StoreFailure::badArgument, [](NewCard& card) { card.name = "../fresh"; });
    ExpectRefused(StoreFailure::nameTaken, [](NewCard& card) { card.name = "ref1"; });
}

TEST_F(CardMakerTest, NameThatIsTakenWhileTheCardIsMadeIsTaken)
{
    request.beforeUse = [this] { fs::create_directories(directories.Cards() / "fresh/other"); };
    EXPECT_EQ(FailureOf([this] { Make(); }), StoreFailure::nameTaken);
    EXPECT_TRUE(fs::exists(directories.Cards() / "fresh/other"));
    for (const auto& entry : fs::directory_iterator(directories.Cards())) {
        EXPECT_FALSE(entry.path().filename().string().starts_with('.')) << entry.path();
    }
}

TEST_F(CardMakerTest, ClearsAwayWhatKilledProgramsLeftADayAgo)
{
    for (const char* name : {".new-old", ".ref1.deleted", ".new-young", ".other"}) {
        fs::create_directory(directories.Cards() / name);
    }
    WriteText(directories.Cards() / ".new-file", "");
    for (const char* name : {".new-old", ".ref1.deleted", ".other", ".new-file"}) {
        SetAge(directories.Cards() / name, std::chrono::hours(25));
    }
    Make();
    for (const char* name : {".new-old", ".ref1.deleted"}) {
        EXPECT_FALSE(fs::exists(directories.Cards() / name)) << name;
    }
    for (const char* name : {".new-young", ".other", ".new-file"}) {
        EXPECT_TRUE(fs::exists(directories.Cards() / name)) << name;
    }
}

} // namespace
