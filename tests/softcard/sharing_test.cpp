// Two processes on one card: the transaction of one keeps the other from codes and keys.
#include "tests/softcard/answers.h"
#include "tests/softcard/card_holder.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/key_use.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace softcard::test;

namespace {

class Sharing : public CardTest
{
};

TEST_F(Sharing, RefusesCodesAndKeysDuringATransactionOfAnotherProcess)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    ASSERT_EQ(VerifyPin(session, pin).returned, 0);
    const auto sign = [session](KeyFunction function) {
        return UseKey(function, session, std::vector<uint8_t>(32, 7)).status;
    };
    {
        const CardHolder holder(Scratch("holding"));
        EXPECT_EQ(Library().startTransaction(session), eStatusSHARING_VIOLATION);
        EXPECT_EQ(VerifyBok(session, wrongCode).returned, eStatusSHARING_VIOLATION);
        EXPECT_EQ(VerifyPin(session, wrongCode).returned, eStatusSHARING_VIOLATION);
        EXPECT_EQ(VerifyPin(session, nullptr).returned, eStatusSHARING_VIOLATION)
            << "before anybody is asked";
        EXPECT_EQ(sign(Library().esSignData), eStatusSHARING_VIOLATION);
        EXPECT_EQ(sign(Library().qesSignData), eStatusSHARING_VIOLATION);
        EXPECT_EQ(Decrypt(session, std::vector<uint8_t>(256, 1)).status, eStatusSHARING_VIOLATION);
        EXPECT_EQ(FlagsOf(session), cardPresentFlag | secureMessagingFlag);
        CardKeyInfo key{};
        EXPECT_EQ(Library().esGetKeyInfo(session, 0, &key, true), 0) << "what is public stays readable";
    }
    EXPECT_EQ(Library().startTransaction(session), 0) << "a process that was killed holds nothing";
    EXPECT_EQ(sign(Library().esSignData), 0);
    EXPECT_EQ(sign(Library().qesSignData), 0) << "and the authorisation was not used up";
    EXPECT_EQ(VerifyPin(session, wrongCode).result.unread4, 2) << "no try was spent either";
}

TEST_F(Sharing, RefusesOthersAfterHalfASecond)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(Library().startTransaction(session), 0);
    EXPECT_EQ(RunProgram({TRY_CODE, "bok", wrongCode}).exitCode, eStatusSHARING_VIOLATION);
    EXPECT_EQ(VerifyBok(session, wrongCode).returned, eIncorrectCode) << "the holder goes on";
    ASSERT_EQ(Library().stopTransaction(session), 0);
    EXPECT_EQ(RunProgram({TRY_CODE, "bok", wrongCode}).exitCode, eIncorrectCode);
}

TEST_F(Sharing, WaitsForAShortTransaction)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(Library().startTransaction(session), 0);
    const Process other = StartProgram({TRY_CODE, "bok", bok});
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    ASSERT_EQ(Library().stopTransaction(session), 0);
    EXPECT_EQ(AwaitProgram(other), 0);
}

TEST_F(Sharing, LetsTheOwnProcessUseTheCard)
{
    const CardSession session = InsertAndOpen("ref2");
    const CardSession other = Open();
    ASSERT_EQ(Library().startTransaction(session), 0);
    EXPECT_EQ(VerifyBok(other, bok).returned, 0);
}

TEST_F(Sharing, RefusesTheToolCodesAndKeysDuringATransaction)
{
    Insert("ref2");
    const std::string certificate = (State() / "authority/issuing.pem").string();
    const std::string key = (State() / "authority/issuing.key").string();
    {
        const CardHolder holder(Scratch("holding"));
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"set-code", "ref2", "pin", "--old", wrongCode, "--new", "1"},
              {"set-code", "ref2", "pin", "--puk", templatePuk, "--new", "1"},
              {"unblock", "ref2", "pin", "--puk", wrongCode},
              {"lock", "ref2", "pin"},
              {"import", "ref2", "es", certificate, "--key", key, "--code", wrongCode},
              {"delete", "ref2", "--force"}}) {
            const Finished refused = RunTool(command);
            EXPECT_EQ(refused.exitCode, exitCardBusy) << command.front();
            EXPECT_EQ(refused.errors,
                      "tavrik-card: Another program has a transaction on the card \"ref2\".\n");
        }
        EXPECT_EQ(RunTool({"show", "ref2"}).exitCode, 0) << "what is public stays readable";
        EXPECT_EQ(RunTool({"break-channel", "ref2"}).exitCode, 0) << "a card breaks it when it likes";
    }
    const auto card = nlohmann::json::parse(RunTool({"show", "ref2", "--json"}).output);
    for (const char* code : {"bok", "pin", "puk"}) {
        EXPECT_EQ(card[code]["triesLeft"], card[code]["maximumTries"]) << code;
    }
    EXPECT_EQ(card["es"].size(), 1U);
    EXPECT_EQ(card["reader"], "Reader 0");
    EXPECT_EQ(VerifyPin(Open(), pin).returned, 0) << "the code is what it was";
}

TEST_F(Sharing, LetsTheToolWaitForAShortTransaction)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(Library().startTransaction(session), 0);
    const Process tool = StartProgram({CARD_TOOL, "set-code", "ref2", "bok", "--old", bok, "--new", "new"});
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_TRUE(StillRuns(tool)); // a look at the code itself could outlast the tool's patience
    ASSERT_EQ(Library().stopTransaction(session), 0);
    EXPECT_EQ(AwaitProgram(tool), 0);
    EXPECT_EQ(VerifyBok(session, "new").returned, 0);
}

// Each asks for what the other has: both are answered.
TEST_F(Sharing, NeverDeadlocks)
{
    Insert("ref3", "Other");
    const CardSession second = Open(u"Other");
    const CardSession first = InsertAndOpen("ref2");
    ASSERT_EQ(Library().startTransaction(second), 0);
    const CardHolder holder(Scratch("holding"));
    EXPECT_EQ(Library().startTransaction(first), eStatusSHARING_VIOLATION);
    EXPECT_EQ(Library().stopTransaction(second), 0);
}

} // namespace
