// The keyboard among Windows' programs and consoles.
#include "tests/softcard/answers.h"
#include "tests/softcard/environment.h"
#include "tests/softcard/keyboard_home.h"

#include <windows.h>

using namespace softcard::test;

namespace {

class WindowsKeyboard : public KeyboardTest
{
};

TEST_F(WindowsKeyboard, IsFoundOnThePath)
{
    const CardSession session = InsertAndOpen("ref2");
    std::filesystem::copy(SCRIPTED_PINENTRY, Scratch("some-pinentry.exe"));
    SetVariable("TAVRIK_PINENTRY", "some-pinentry");
    Answer("123456\n123456\n");
    EXPECT_EQ(VerifyBok(session, nullptr).returned, eUserInputError);
    SetVariable("PATH", L"C:\\nowhere;" + Home().native() + L";" + std::wstring(_wgetenv(L"PATH")));
    EXPECT_EQ(VerifyBok(session, nullptr).returned, 0);
}

TEST_F(WindowsKeyboard, ThatSpeaksNoAssuanCountsAsCancelled)
{
    const CardSession session = InsertAndOpen("ref2");
    SetVariable("TAVRIK_PINENTRY", CARD_TOOL);
    EXPECT_EQ(VerifyBok(session, nullptr).returned, eUserInputError);
    EXPECT_EQ(VerifyBok(session, bok).returned, 0);
}

TEST_F(WindowsKeyboard, WithoutAProgramAndWithoutAConsoleCountsAsCancelled)
{
    const CardSession session = InsertAndOpen("ref2");
    UnsetVariable("TAVRIK_PINENTRY");
    FreeConsole();
    Answer("123456\n");
    EXPECT_EQ(VerifyBok(session, nullptr).returned, eUserInputError);
    EXPECT_EQ(AnswersLeft(), "123456\n");
    EXPECT_EQ(VerifyBok(session, wrongCode).result.unread4, 2) << "no try was spent";
}

} // namespace
