// The tool's commands for codes, seen by a program that uses the card meanwhile.
#include "softcard/card/code_record.h"
#include "softcard/system/files.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/key_use.h"

#include <string>
#include <vector>

using namespace softcard::test;

namespace {

class CardCodes : public CardTest
{
protected:
    static void ExpectExit(const std::vector<std::string>& arguments, int exitCode,
                           const std::string& sentence = "")
    {
        const Finished finished = RunTool(arguments);
        EXPECT_EQ(finished.exitCode, exitCode) << finished.errors;
        EXPECT_EQ(finished.errors, sentence.empty() ? "" : "tavrik-card: " + sentence + "\n");
        EXPECT_EQ(finished.output, "");
    }

    static CardStatus SignOrdinarily(CardSession session)
    {
        return UseKey(Library().esSignData, session, std::vector<uint8_t>(32, 7)).status;
    }

    static CardStatus SignQualified(CardSession session)
    {
        return UseKey(Library().qesSignData, session, std::vector<uint8_t>(32, 7)).status;
    }
};

TEST_F(CardCodes, AreChangedByWhoKnowsTheOldOne)
{
    const CardSession session = InsertAndOpen("ref2");
    ExpectExit({"set-code", "ref2", "bok", "--old", bok, "--new", "new code"}, 0);
    EXPECT_EQ(VerifyBok(session, bok).returned, eIncorrectCode);
    EXPECT_EQ(VerifyBok(session, "new code").returned, 0);
    EXPECT_EQ(SignOrdinarily(session), 0) << "the key is still reached";
    ExpectExit({"set-code", "ref2", "pin", "--old", pin, "--new", "9"}, 0);
    EXPECT_EQ(VerifyPin(session, "9").returned, 0);
    EXPECT_EQ(SignQualified(session), 0);
}

TEST_F(CardCodes, AreNotChangedByOthers)
{
    ExpectExit({"set-code", "ref2", "pin", "--old", wrongCode, "--new", "1"}, exitWrongCode,
               "The signature PIN is wrong; 2 tries are left.");
    ExpectExit({"set-code", "ref2", "pin", "--old", wrongCode, "--new", "1"}, exitWrongCode,
               "The signature PIN is wrong; 1 try is left.");
    ExpectExit({"set-code", "ref2", "pin", "--old", wrongCode, "--new", "1"}, exitCodeUnusable,
               "The signature PIN is locked.");
    const std::string rule = "A code has 1 to 64 bytes, none of them zero.";
    const std::string tooLong(65, '1');
    ExpectExit({"set-code", "ref2", "bok", "--old", tooLong, "--new", "1"}, exitBadArguments, rule);
    ExpectExit({"unblock", "ref2", "bok", "--puk", tooLong}, exitBadArguments, rule);
    ExpectExit({"set-code", "ref2", "bok", "--puk", "", "--new", "1"}, exitBadArguments, rule);
    const auto codes = softcard::ReadCodeRecords(State() / "cards/ref2");
    EXPECT_EQ(codes.bok.triesLeft, 3U) << "what can be no code costs no try";
    EXPECT_EQ(codes.puk.triesLeft, 10U);
    ExpectExit({"set-code", "ref2", "bok", "--old", bok, "--new", ""}, exitBadArguments,
               "A code has 1 to 64 bytes, none of them zero.");
    const CardSession session = InsertAndOpen("ref2");
    EXPECT_EQ(VerifyPin(session, pin).returned, eInvalidCodeState);
    EXPECT_EQ(VerifyBok(session, bok).returned, 0) << "a bad new code costs nothing";
}

TEST_F(CardCodes, AreReadFromTheStandardInput)
{
    WriteText(Scratch("codes"), std::string(bok) + "\nsecond\n");
    EXPECT_EQ(RunProgramOn(Scratch("codes"), {CARD_TOOL, "set-code", "ref2", "bok"}).exitCode, 0);
    EXPECT_EQ(VerifyBok(InsertAndOpen("ref2"), "second").returned, 0);
    WriteText(Scratch("nothing"), "");
    const Finished without = RunProgramOn(Scratch("nothing"), {CARD_TOOL, "set-code", "ref2", "bok"});
    EXPECT_EQ(without.exitCode, exitBadArguments);
    EXPECT_NE(without.errors.find("Old code is missing"), std::string::npos);
}

TEST_F(CardCodes, AreSetForTheFirstTimeWithThePuk)
{
    const CardSession session = InsertAndOpen("blank");
    EXPECT_EQ(VerifyPin(session, "1").result.status, pinNotInitialised);
    ExpectExit({"set-code", "blank", "pin", "--old", "1", "--new", "2"}, exitCodeUnusable,
               "The signature PIN is not initialised.");
    ExpectExit({"unblock", "blank", "pin", "--puk", templatePuk}, exitCodeUnusable,
               "The signature PIN is not initialised.");
    ExpectExit({"set-code", "blank", "pin", "--puk", templatePuk, "--new", "2468"}, 0);
    ExpectExit({"set-code", "blank", "bok", "--puk", templatePuk, "--new", "1357"}, 0);
    EXPECT_EQ(VerifyPin(session, "2468").returned, 0);
    EXPECT_EQ(SignQualified(session), 0);
    EXPECT_EQ(VerifyBok(session, "1357").returned, 0);
    EXPECT_EQ(SignOrdinarily(session), 0);
}

TEST_F(CardCodes, AreUnblockedWithThePuk)
{
    const CardSession session = InsertAndOpen("ref2");
    ExpectExit({"lock", "ref2", "bok"}, 0);
    ExpectExit({"lock", "ref2", "pin"}, 0);
    EXPECT_EQ(VerifyBok(session, bok).result.status, bokLocked);
    EXPECT_EQ(VerifyPin(session, pin).result.status, pinLocked);
    ExpectExit({"unblock", "ref2", "bok", "--puk", templatePuk}, 0);
    ExpectExit({"unblock", "ref2", "pin", "--puk", templatePuk, "--new", "2222"}, 0);
    EXPECT_EQ(VerifyBok(session, bok).returned, 0);
    EXPECT_EQ(VerifyPin(session, pin).returned, eIncorrectCode);
    EXPECT_EQ(VerifyPin(session, "2222").returned, 0);
    EXPECT_EQ(SignQualified(session), 0) << "unblocking loses no key";
}

TEST_F(CardCodes, PukHasTriesOfItsOwn)
{
    ExpectExit({"unblock", "ref2", "pin", "--puk", wrongCode}, exitWrongCode,
               "The unblocking code (PUK) is wrong; 9 tries are left.");
    ExpectExit({"lock", "ref2", "puk"}, 0);
    ExpectExit({"unblock", "ref2", "pin", "--puk", templatePuk}, exitCodeUnusable,
               "The unblocking code (PUK) is locked.");
    EXPECT_EQ(VerifyPin(InsertAndOpen("ref2"), pin).returned, 0);
}

TEST_F(CardCodes, PukIsChangedAndStillOpensTheKeys)
{
    ExpectExit({"set-code", "ref2", "puk", "--old", templatePuk, "--new", "5555"}, 0);
    ExpectExit({"unblock", "ref2", "pin", "--puk", templatePuk}, exitWrongCode,
               "The unblocking code (PUK) is wrong; 9 tries are left.");
    ExpectExit({"unblock", "ref2", "pin", "--puk", "5555", "--new", "1"}, 0);
    const CardSession session = InsertAndOpen("ref2");
    EXPECT_EQ(VerifyPin(session, "1").returned, 0);
    EXPECT_EQ(SignQualified(session), 0);
}

TEST_F(CardCodes, PukIsPrintedWhenItIsMade)
{
    const Finished made = RunTool({"new", "printed"});
    ASSERT_EQ(made.exitCode, 0);
    ASSERT_EQ(made.output.size(), std::string("PUK: 12345678\n").size()) << made.output;
    EXPECT_EQ(made.errors, "") << "no progress in a pipe";
    ExpectExit({"unblock", "printed", "pin", "--puk", made.output.substr(5, 8)}, 0);
}

TEST_F(CardCodes, PukDoesNotServeItself)
{
    ExpectExit({"unblock", "ref2", "puk", "--puk", templatePuk}, exitBadArguments,
               "The PUK serves the other codes, not itself.");
    ExpectExit({"set-code", "ref2", "puk", "--puk", templatePuk, "--new", "1"}, exitBadArguments,
               "The PUK serves the other codes, not itself.");
}

TEST_F(CardCodes, HaveOneToSixtyFourBytes)
{
    for (const char* command : {"set-code", "unblock", "lock"}) {
        ExpectExit({command, "nobody", "bok"}, exitUnknownCard, "There is no card named \"nobody\".");
        EXPECT_EQ(RunTool({command, "ref2", "other"}).exitCode, exitBadArguments);
    }
    ExpectExit({"break-channel", "nobody"}, exitUnknownCard, "There is no card named \"nobody\".");
}

TEST_F(CardCodes, AreNotStoredInClear)
{
    ASSERT_EQ(RunTool({"set-code", "blank", "pin", "--puk", templatePuk, "--new", "2468135"}).exitCode, 0);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(State() / "cards/blank")) {
        const std::string content = softcard::ReadFile(entry.path());
        EXPECT_EQ(content.find("2468135"), std::string::npos) << entry.path();
        EXPECT_EQ(content.find(templatePuk), std::string::npos) << entry.path();
        EXPECT_EQ(content.find("BEGIN PRIVATE KEY"), std::string::npos) << entry.path();
    }
}

TEST_F(CardCodes, AreWantedAgainAfterABrokenChannel)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    ASSERT_EQ(VerifyPin(session, pin).returned, 0);
    ExpectExit({"break-channel", "ref2"}, 0);
    EXPECT_EQ(FlagsOf(session), cardPresentFlag);
    EXPECT_EQ(SignOrdinarily(session), 27);
    EXPECT_EQ(SignQualified(session), eInvalidCodeState);
    ASSERT_EQ(VerifyPin(session, pin).returned, 0);
    EXPECT_EQ(FlagsOf(session), cardPresentFlag) << "one code does not bring back what the other opened";
    EXPECT_EQ(SignQualified(session), 0);
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    EXPECT_EQ(FlagsOf(session), cardPresentFlag | secureMessagingFlag);
    EXPECT_EQ(SignOrdinarily(session), 0);
}

} // namespace
