#include "softcard/card/code_record.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

using namespace softcard::test;

namespace {

class Codes : public CardTest
{
};

TEST_F(Codes, RightBokOpensSecureMessaging)
{
    const CardSession session = InsertAndOpen("ref2");
    EXPECT_EQ(FlagsOf(session), cardPresentFlag);
    const Verified verified = VerifyBok(session, bok);
    EXPECT_EQ(verified.returned, 0);
    EXPECT_EQ(verified.result.verified, 1);
    EXPECT_EQ(verified.result.status, 0U);
    EXPECT_EQ(FlagsOf(session), cardPresentFlag | secureMessagingFlag);
}

TEST_F(Codes, SecureMessagingBelongsToOneSession)
{
    const CardSession first = InsertAndOpen("ref2");
    const CardSession second = Open();
    EXPECT_EQ(VerifyBok(first, bok).returned, 0);
    EXPECT_EQ(FlagsOf(second), cardPresentFlag);
}

TEST_F(Codes, RightPinLeavesSecureMessagingAlone)
{
    const CardSession session = InsertAndOpen("ref2");
    const Verified verified = VerifyPin(session, pin);
    EXPECT_EQ(verified.returned, 0);
    EXPECT_EQ(verified.result.verified, 1);
    EXPECT_EQ(FlagsOf(session), cardPresentFlag);
}

TEST_F(Codes, WrongBokIsCountedAndLocks)
{
    const CardSession session = InsertAndOpen("ref2");
    for (int triesLeft = 2; triesLeft > 0; --triesLeft) {
        const Verified wrong = VerifyBok(session, wrongCode);
        EXPECT_EQ(wrong.returned, eIncorrectCode);
        EXPECT_EQ(wrong.result.verified, 0);
        EXPECT_EQ(wrong.result.unread4, triesLeft);
    }
    for (const char* code : {wrongCode, bok}) {
        const Verified locked = VerifyBok(session, code);
        EXPECT_EQ(locked.returned, eInvalidCodeState);
        EXPECT_EQ(locked.result.verified, 0);
        EXPECT_EQ(locked.result.status, bokLocked);
    }
    EXPECT_EQ(VerifyPin(session, pin).returned, 0) << "the PIN has a counter of its own";
}

TEST_F(Codes, WrongPinIsCountedAndLocks)
{
    const CardSession session = InsertAndOpen("ref2");
    EXPECT_EQ(VerifyPin(session, wrongCode).returned, eIncorrectCode);
    EXPECT_EQ(VerifyPin(session, wrongCode).returned, eIncorrectCode);
    for (const char* code : {wrongCode, pin}) {
        const Verified locked = VerifyPin(session, code);
        EXPECT_EQ(locked.returned, eInvalidCodeState);
        EXPECT_EQ(locked.result.status, pinLocked);
    }
    EXPECT_EQ(VerifyBok(session, bok).returned, 0);
}

TEST_F(Codes, RightCodeGivesAllTriesBack)
{
    const CardSession session = InsertAndOpen("ref2");
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(VerifyBok(session, wrongCode).returned, eIncorrectCode);
        EXPECT_EQ(VerifyBok(session, wrongCode).returned, eIncorrectCode);
        EXPECT_EQ(VerifyBok(session, bok).returned, 0);
    }
}

TEST_F(Codes, UninitializedCodesSaySo)
{
    const CardSession session = InsertAndOpen("blank");
    const Verified bokResult = VerifyBok(session, bok);
    EXPECT_EQ(bokResult.returned, eInvalidCodeState);
    EXPECT_EQ(bokResult.result.verified, 0);
    EXPECT_EQ(bokResult.result.status, bokNotInitialised);
    const Verified pinResult = VerifyPin(session, nullptr);
    EXPECT_EQ(pinResult.returned, eInvalidCodeState);
    EXPECT_EQ(pinResult.result.verified, 0);
    EXPECT_EQ(pinResult.result.status, pinNotInitialised);
}

TEST_F(Codes, OneCodeIsNotTheOther)
{
    const CardSession session = InsertAndOpen("ref2");
    EXPECT_EQ(VerifyBok(session, pin).returned, eIncorrectCode);
    EXPECT_EQ(VerifyPin(session, bok).returned, eIncorrectCode);
}

TEST_F(Codes, WrongBokEndsSecureMessaging)
{
    const CardSession session = InsertAndOpen("ref2");
    EXPECT_EQ(VerifyBok(session, bok).returned, 0);
    EXPECT_EQ(VerifyBok(session, wrongCode).returned, eIncorrectCode);
    EXPECT_EQ(FlagsOf(session), cardPresentFlag);
}

TEST_F(Codes, CountersOutliveTheProcess)
{
    Insert("ref2");
    EXPECT_EQ(RunProgram({TRY_CODE, "bok", wrongCode}).exitCode, eIncorrectCode);
    EXPECT_EQ(RunProgram({TRY_CODE, "bok", wrongCode}).exitCode, eIncorrectCode);
    EXPECT_EQ(RunProgram({TRY_CODE, "bok", wrongCode}).exitCode, eInvalidCodeState);
    EXPECT_EQ(RunProgram({TRY_CODE, "bok", bok}).exitCode, eInvalidCodeState);
    EXPECT_EQ(RunProgram({TRY_CODE, "pin", pin}).exitCode, 0);
    EXPECT_EQ(VerifyBok(Open(), bok).returned, eInvalidCodeState);
}

TEST_F(Codes, CountersOutliveARemoval)
{
    const CardSession session = InsertAndOpen("ref2");
    EXPECT_EQ(VerifyBok(session, wrongCode).returned, eIncorrectCode);
    Remove("ref2");
    Insert("ref2", "Another reader");
    EXPECT_EQ(VerifyBok(Open(u"Another reader"), wrongCode).result.unread4, 1);
}

// Each of the processes at once must find its own try, so the last of three locks the code.
TEST_F(Codes, ProcessesAtOnceLoseNoTry)
{
    for (const char* card : {"ref1", "ref2", "ref3", "ref4"}) {
        Insert(card);
        std::array<Process, 3> processes{};
        for (Process& process : processes) {
            process = StartProgram({TRY_CODE, "pin", wrongCode});
        }
        std::array<int, 3> returned{};
        std::transform(processes.begin(), processes.end(), returned.begin(), AwaitProgram);
        std::sort(returned.begin(), returned.end());
        EXPECT_EQ(returned, (std::array<int, 3>{eIncorrectCode, eIncorrectCode, eInvalidCodeState}));
        Remove(card);
    }
}

// Even a right code costs a try until it has been compared: who cuts the power in between gains nothing.
TEST_F(Codes, AreComparedAfterTheTryIsOnDisk)
{
    const CardSession session = InsertAndOpen("ref2");
    const auto triesOnDisk = [this] {
        return softcard::ReadCodeRecords(State() / "cards/ref2").bok.triesLeft;
    };
    std::atomic<CardStatus> returned = -1;
    std::thread verifying([&] { returned = VerifyBok(session, bok).returned; });
    uint32_t fewest = triesOnDisk();
    while (returned == -1) {
        fewest = std::min(fewest, triesOnDisk());
        // On Windows a file that is open is not replaced, so the card needs a moment between two looks.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    verifying.join();
    EXPECT_EQ(returned, 0);
    EXPECT_EQ(fewest, 2U);
    EXPECT_EQ(triesOnDisk(), 3U);
}

TEST_F(Codes, MayBeAsLongAsSixtyFourBytes)
{
    const std::string longest(64, 'x');
    ASSERT_EQ(RunTool({"new", "long", "--bok", longest, "--pin", "1"}).exitCode, 0);
    const CardSession session = InsertAndOpen("long");
    EXPECT_EQ(VerifyBok(session, std::string(63, 'x').c_str()).returned, eIncorrectCode);
    const Verified tooLong = VerifyBok(session, (longest + "x").c_str());
    EXPECT_EQ(tooLong.returned, eIncorrectCode);
    EXPECT_EQ(tooLong.result.unread4, 2) << "what can be no code costs no try";
    EXPECT_EQ(VerifyBok(session, "").result.unread4, 2);
    EXPECT_EQ(VerifyBok(session, longest.c_str()).returned, 0);
    EXPECT_EQ(VerifyPin(session, "1").returned, 0);
}

TEST_F(Codes, WithoutAResultAreRefused)
{
    const CardSession session = InsertAndOpen("ref2");
    EXPECT_EQ(Library().verifyBok(session, bok, nullptr, nullptr, 0, 0, 0), 1);
    EXPECT_EQ(VerifyBok(session, wrongCode).result.unread4, 2) << "no try was spent on it";
}

TEST_F(Codes, OfACardThatCannotBeReadAreNotVerified)
{
    const CardSession session = InsertAndOpen("ref2");
    WriteText(State() / "cards/ref2/state.json", "{");
    const Verified verified = VerifyBok(session, bok);
    EXPECT_EQ(verified.returned, 10);
    EXPECT_EQ(verified.result.verified, 0);
}

} // namespace
