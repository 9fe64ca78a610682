#include "tests/softcard/answers.h"
#include "tests/softcard/environment.h"
#include "tests/softcard/keyboard_home.h"

#include <chrono>

using namespace softcard::test;

namespace {

class Keyboard : public KeyboardTest
{
};

TEST_F(Keyboard, AsksForTheCodeThatIsMissing)
{
    const CardSession session = InsertAndOpen("ref2");
    Answer("654321\n123456\n");
    EXPECT_EQ(VerifyPin(session, nullptr).returned, 0);
    EXPECT_EQ(VerifyBok(session, nullptr).returned, 0);
    EXPECT_EQ(AnswersLeft(), "");
}

TEST_F(Keyboard, IsNotAskedWhenTheCodeIsGiven)
{
    const CardSession session = InsertAndOpen("ref2");
    Answer("654321\n");
    EXPECT_EQ(VerifyPin(session, pin).returned, 0);
    EXPECT_EQ(AnswersLeft(), "654321\n");
}

TEST_F(Keyboard, CountsAWrongAnswerAndAsksOnce)
{
    const CardSession session = InsertAndOpen("ref2");
    Answer("000000\n654321\n");
    EXPECT_EQ(VerifyPin(session, nullptr).returned, eIncorrectCode);
    EXPECT_EQ(AnswersLeft(), "654321\n");
    EXPECT_EQ(VerifyPin(session, nullptr).returned, 0);
}

TEST_F(Keyboard, SaysWhichCodeOfWhichCardAndHowManyTriesAreLeft)
{
    const CardSession session = InsertAndOpen("ref2");
    Answer("000000\n000000\n123456\n");
    VerifyPin(session, nullptr);
    VerifyPin(session, nullptr);
    VerifyBok(session, nullptr);
    EXPECT_EQ(Log(),
              "SETDESC Please enter the signature PIN of the card \"ref2\" in the reader \"Reader 0\".\n"
              "3 tries are left.\nSETPROMPT PIN:\n"
              "SETDESC Please enter the signature PIN of the card \"ref2\" in the reader \"Reader 0\".\n"
              "2 tries are left.\nSETPROMPT PIN:\n"
              "SETDESC Please enter the login code (BOK) of the card \"ref2\" in the reader \"Reader 0\".\n"
              "3 tries are left.\nSETPROMPT BOK:\n");
}

TEST_F(Keyboard, LocksWithTheLastWrongAnswer)
{
    const CardSession session = InsertAndOpen("ref2");
    Answer("1\n2\n3\n654321\n");
    EXPECT_EQ(VerifyPin(session, nullptr).returned, eIncorrectCode);
    EXPECT_EQ(VerifyPin(session, nullptr).returned, eIncorrectCode);
    EXPECT_EQ(VerifyPin(session, nullptr).returned, eInvalidCodeState);
    const Verified locked = VerifyPin(session, nullptr);
    EXPECT_EQ(locked.returned, eInvalidCodeState);
    EXPECT_EQ(locked.result.status, pinLocked);
    EXPECT_EQ(AnswersLeft(), "654321\n") << "a locked code is not asked for";
}

TEST_F(Keyboard, CancelSpendsNoTry)
{
    const CardSession session = InsertAndOpen("ref2");
    Answer("CANCEL\n\n");
    for (int i = 0; i < 3; ++i) { // a cancel, an empty line, no line
        const Verified cancelled = VerifyPin(session, nullptr);
        EXPECT_EQ(cancelled.returned, eUserInputError);
        EXPECT_EQ(cancelled.result.verified, 0);
    }
    EXPECT_EQ(VerifyPin(session, wrongCode).result.unread4, 2);
}

TEST_F(Keyboard, AnswersThatCanBeNoCodeSpendNoTry)
{
    const CardSession session = InsertAndOpen("ref2");
    Answer(std::string(65, '1') + "\n" + std::string("654321\0x", 8) + "\n" + std::string("\0", 1) + "\n");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(VerifyPin(session, nullptr).returned, eUserInputError);
    }
    EXPECT_EQ(AnswersLeft(), "");
    EXPECT_EQ(VerifyPin(session, wrongCode).result.unread4, 2);
}

TEST_F(Keyboard, ThatIsMissingCountsAsCancelled)
{
    const CardSession session = InsertAndOpen("ref2");
    SetVariable("TAVRIK_PINENTRY", "/nowhere/pinentry");
    EXPECT_EQ(VerifyBok(session, nullptr).returned, eUserInputError);
    SetVariable("TAVRIK_PINENTRY", "no-program-has-this-name");
    EXPECT_EQ(VerifyBok(session, nullptr).returned, eUserInputError);
}

TEST_F(Keyboard, IsScriptedByAFileInTheCurrentFolderToo)
{
    const CardSession session = InsertAndOpen("ref2");
    Answer("654321\n123456\n");
    SetVariable("TAVRIK_PINENTRY_ANSWERS", "answers");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(Home());
    const Verified verified = VerifyPin(session, nullptr);
    std::filesystem::current_path(before);
    EXPECT_EQ(verified.returned, 0);
    EXPECT_EQ(AnswersLeft(), "123456\n");
}

TEST_F(Keyboard, AnswerWithAZeroByteSpendsNoTry)
{
    using std::string_literals::operator""s;
    const CardSession session = InsertAndOpen("ref2");
    Answer("654321\0\n6\00054321\n\0\n123456\0\n"s);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(VerifyPin(session, nullptr).returned, eUserInputError);
    }
    EXPECT_EQ(VerifyBok(session, nullptr).returned, eUserInputError);
    EXPECT_EQ(AnswersLeft(), "");
    EXPECT_EQ(VerifyPin(session, wrongCode).result.unread4, 2);
    EXPECT_EQ(VerifyBok(session, wrongCode).result.unread4, 2);
}

TEST_F(Keyboard, IsTheConfiguredOneUnlessTheEnvironmentNamesOne)
{
    const CardSession session = InsertAndOpen("ref2");
    UnsetVariable("TAVRIK_PINENTRY");
    WriteText(Home() / "config/pinentry", SCRIPTED_PINENTRY "\n");
    Answer("123456\n123456\n");
    EXPECT_EQ(VerifyBok(session, nullptr).returned, 0);
    SetVariable("TAVRIK_PINENTRY", "/nowhere/pinentry");
    EXPECT_EQ(VerifyBok(session, nullptr).returned, eUserInputError);
}

TEST_F(Keyboard, DoesNotBlockOtherUsersOfTheCard)
{
    const CardSession session = InsertAndOpen("ref2");
    Insert("ref3", "Reader 1");
    const CardSession other = Open(u"Reader 1");
    const Verified verified = AskForPinDuring(session, "654321", [&] {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Library().waitForReaderEvent(0, [](auto, auto, auto, auto) {}), 0);
        EXPECT_EQ(FlagsOf(session), cardPresentFlag);
        EXPECT_EQ(VerifyBok(other, bok).returned, 0);
        EXPECT_EQ(VerifyBok(session, bok).returned, 0) << "not even the other code of the same card waits";
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    });
    EXPECT_EQ(verified.returned, 0);
}

TEST_F(Keyboard, AnswerForACardThatWentSpendsNoTry)
{
    const CardSession session = InsertAndOpen("ref2");
    const Verified verified = AskForPinDuring(session, wrongCode, [this] { Remove("ref2"); });
    EXPECT_EQ(verified.returned, eStatusREMOVED_CARD);
    Insert("ref2");
    EXPECT_EQ(VerifyPin(Open(), wrongCode).result.unread4, 2);
}

TEST_F(Keyboard, AnswerForAClosedSessionSpendsNoTry)
{
    const CardSession session = InsertAndOpen("ref2");
    const Verified verified =
        AskForPinDuring(session, wrongCode, [session] { EXPECT_EQ(Library().closeSession(session), 0); });
    EXPECT_EQ(verified.returned, 3);
    EXPECT_EQ(VerifyPin(Open(), wrongCode).result.unread4, 2);
}

} // namespace
