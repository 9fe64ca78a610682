// Codes, and what they lead to, leave nothing behind in the memory of a program.
#include "tests/softcard/system/linux/card_secrets.h"
#include "tests/softcard/system/linux/memory.h"

#include "softcard/card/card_store.h"
#include "softcard/card/directories.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/environment.h"
#include "tests/softcard/old_key_files.h"

#include <string>
#include <tuple>
#include <vector>

using namespace softcard::test;
using softcard::KeyFamily;

namespace {

class LeftInMemory : public CardTest
{
protected:
    LeftInMemory()
    {
        for (const auto& [word, old, code] : {std::tuple("bok", bok, newBok), std::tuple("pin", pin, newPin),
                                              std::tuple("puk", templatePuk, newPuk)}) {
            EXPECT_EQ(RunTool({"set-code", "ref2", word, "--old", old, "--new", code}).exitCode, 0);
        }
        secrets = SecretsOfCodes(Folder(), Codes());
    }

    [[nodiscard]] std::filesystem::path Folder() const { return State() / "cards/ref2"; }

    [[nodiscard]] CardCodes Codes() const { return {newBok, newPin, newPuk}; }

    // The secrets of both families and their keys'; with the key files in the form that they had before when
    // wanted.
    void AddWhatTheCodesLeadTo(bool inOldForm)
    {
        const softcard::Card card = softcard::CardStore(softcard::FindDirectories()).Load("ref2");
        AddKeys(secrets, card, Folder(), Codes());
        for (const KeyFamily family : {KeyFamily::qualified, KeyFamily::ordinary}) {
            if (inOldForm) {
                const softcard::SecretBytes secret = SecretOfFamily(Folder(), family, Codes());
                WriteOldKeyFile(Folder() / card.Keys(family).front().keyFile,
                                *softcard::LoadPrivateKeys(card, family, secret).front(), secret);
            }
        }
    }

    void ExpectNothingLeft(const std::string& input, const std::vector<std::string>& arguments) const
    {
        WriteText(Scratch("input"), input);
        const TracedEnd end = RunTraced(Scratch("input"), arguments, secrets);
        EXPECT_EQ(end.exitCode, 0) << end.output;
        EXPECT_EQ(end.found, std::vector<std::string>());
        EXPECT_GT(end.bytesSearched, size_t{100000});
    }

    void ExpectToolLeavesNothing(const std::string& input, std::vector<std::string> arguments) const
    {
        SCOPED_TRACE(arguments.front());
        arguments.insert(arguments.begin(), CARD_TOOL);
        ExpectNothingLeft(input, arguments);
    }

    const std::string newBok = RandomCode();
    const std::string newPin = RandomCode();
    const std::string newPuk = RandomCode();
    Secrets secrets;
};

// Whoever looks for nothing, or in the wrong place, finds nothing either.
TEST_F(LeftInMemory, IsFoundWhereAProgramKeepsIt)
{
    secrets = {{"known", "a text that a program keeps"}, {"unknown", "a text that no program has"}};
    const TracedEnd end = RunTraced("/dev/null", {"/bin/echo", "no text, a text that a program k"}, secrets);
    EXPECT_EQ(end.exitCode, 0);
    EXPECT_EQ(end.found, std::vector<std::string>{"known"});
}

TEST_F(LeftInMemory, IsNothingOnceTheLibraryIsFinalised)
{
    AddWhatTheCodesLeadTo(false);
    Insert("ref2");
    ExpectNothingLeft(newBok + "\n" + newPin + "\n", {LEAVE_CARD, "given"});
}

TEST_F(LeftInMemory, IsNothingOfACardWhoseKeyFilesAreOfTheOldForm)
{
    AddWhatTheCodesLeadTo(true);
    Insert("ref2");
    ExpectNothingLeft(newBok + "\n" + newPin + "\n", {LEAVE_CARD, "given"});
}

TEST_F(LeftInMemory, IsNothingOfCodesThatTheKeyboardAskedFor)
{
    SetVariable("TAVRIK_PINENTRY", SCRIPTED_PINENTRY);
    SetVariable("TAVRIK_PINENTRY_ANSWERS", Scratch("answers"));
    WriteText(Scratch("answers"), newBok + "\n" + newPin + "\n");
    AddWhatTheCodesLeadTo(false);
    Insert("ref2");
    ExpectNothingLeft("", {LEAVE_CARD, "asked"});
    UnsetVariable("TAVRIK_PINENTRY_ANSWERS");
}

TEST_F(LeftInMemory, IsNothingOfTheCodesThatANewCardIsGiven)
{
    ExpectToolLeavesNothing("", {"new", "another", "--bok", newBok, "--pin=" + newPin, "--puk", newPuk});
}

TEST_F(LeftInMemory, IsNothingOfThePukThatANewCardGetsByItself)
{
    const std::string beginning = "PUK: ";
    const TracedEnd end =
        RunTraced("/dev/null", {CARD_TOOL, "new", "another"}, [&](const std::string& output) {
            return Secrets{{"the PUK", output.substr(beginning.size(), 8)}};
        });
    EXPECT_EQ(end.exitCode, 0) << end.output;
    EXPECT_TRUE(end.output.starts_with(beginning));
    EXPECT_EQ(end.found, std::vector<std::string>());
}

TEST_F(LeftInMemory, IsNothingOfTheCodesThatAreChanged)
{
    const std::string another = RandomCode();
    secrets["the new code"] = another;
    AddWhatTheCodesLeadTo(false);
    ExpectToolLeavesNothing("", {"set-code", "ref2", "bok", "--puk", newPuk, "--new", another});
    ExpectToolLeavesNothing("", {"set-code", "ref2", "puk", "--old=" + newPuk, "--new=" + another});
    ExpectToolLeavesNothing(newPin + "\n" + newPuk + "\n", {"set-code", "ref2", "pin"});
    ExpectToolLeavesNothing(another + "\n", {"unblock", "ref2", "pin"});
    ExpectToolLeavesNothing("", {"unblock", "ref2", "bok", "--puk", another, "--new", newBok});
}

} // namespace
