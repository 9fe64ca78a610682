// Faults on order, seen by a program that uses the card meanwhile.
#include "softcard/card/fault.h"
#include "tests/softcard/answers.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/operations.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

using namespace softcard::test;

namespace {

class Faults : public CardTest
{
protected:
    static void Order(const std::vector<std::string>& arguments) { CardTest::Order("ref2", arguments); }

    static CardStatus Sign(CardSession session, bool qualified)
    {
        const std::vector<uint8_t> hash(32, 7);
        std::vector<uint8_t> signature(512);
        auto length = static_cast<uint32_t>(signature.size());
        const auto sign = qualified ? Library().qesSignData : Library().esSignData;
        return sign(session, hash.data(), 32, signature.data(), &length, 0);
    }

    static CardStatus Flags(CardSession session)
    {
        uint32_t flags = 0;
        return Library().getSessionFlags(session, &flags);
    }
};

TEST_F(Faults, ReachEveryOperation)
{
    const CardSession session = InsertAndOpen("ref2");
    for (const auto& [name, call] : Operations()) {
        Order({name, "--status", "95"});
        EXPECT_EQ(call(session), 95) << name;
        EXPECT_NE(call(session), 95) << name << " the second time";
    }
}

// What comes with reader events is tested there.
TEST_F(Faults, CanBeOrderedForEveryFunction)
{
    std::vector<std::string> called = {"WaitForReaderEvent"};
    for (const auto& [name, call] : Operations()) {
        called.push_back(name);
    }
    std::vector<std::string> known = softcard::FaultableOperations();
    std::sort(called.begin(), called.end());
    std::sort(known.begin(), known.end());
    EXPECT_EQ(called, known);
}

TEST_F(Faults, HappenAsOftenAsAskedFor)
{
    const CardSession session = InsertAndOpen("ref2");
    Order({"GetSessionFlags", "--status", "eCardCommErr", "--count", "2"});
    EXPECT_EQ(Flags(session), eCardCommErr);
    EXPECT_EQ(Sign(session, false), 27) << "another operation";
    EXPECT_EQ(Flags(session), eCardCommErr);
    EXPECT_EQ(Flags(session), 0);
}

TEST_F(Faults, OfAnyOperationHappenToTheNextOne)
{
    const CardSession session = InsertAndOpen("ref2");
    Order({"any", "--status", "eStatusTIMEOUT", "--count", "2"});
    EXPECT_EQ(VerifyBok(session, wrongCode).returned, 73);
    EXPECT_EQ(Flags(session), 73);
    EXPECT_EQ(VerifyBok(session, wrongCode).result.unread4, 2) << "the failed call spent no try";
}

TEST_F(Faults, OfAnyOperationExcludeThoseThatListEndAndWait)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(Library().startTransaction(session), 0);
    Order({"any", "--status", "7"});
    std::u16string buffer(1024, u'\1');
    EXPECT_GT(Library().getReaderList(buffer.data(), 1023), 0);
    EXPECT_EQ(Library().waitForReaderEvent(0, [](auto, auto, auto, auto) {}), 0);
    EXPECT_EQ(Library().stopTransaction(session), 0);
    EXPECT_EQ(Library().closeSession(session), 0);
    CardSession another = 0;
    EXPECT_EQ(Library().openSession(u"Reader 0", &another), eCardCommErr);
    EXPECT_EQ(another, 0U);
}

TEST_F(Faults, WithAStatusPreventTheOperation)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(Library().startTransaction(session), 0);
    Order({"StopTransaction", "--status", "7"});
    Order({"CloseSession", "--status", "7"});
    EXPECT_EQ(Library().stopTransaction(session), eCardCommErr);
    EXPECT_EQ(Library().closeSession(session), eCardCommErr);
    EXPECT_EQ(RunProgram({TRY_CODE, "bok", bok}).exitCode, eStatusSHARING_VIOLATION)
        << "the transaction goes on";
    EXPECT_EQ(FlagsOf(session), cardPresentFlag) << "and so does the session";
}

TEST_F(Faults, AreForOneCard)
{
    Insert("ref3", "Other");
    const CardSession session = InsertAndOpen("ref2");
    Order({"GetSessionFlags", "--status", "7"});
    EXPECT_EQ(Flags(Open(u"Other")), 0);
    EXPECT_EQ(Flags(session), eCardCommErr);
}

TEST_F(Faults, Delay)
{
    using Clock = std::chrono::steady_clock;
    const CardSession session = InsertAndOpen("ref2");
    Order({"GetSessionFlags", "--delay", "300"});
    const auto start = Clock::now();
    EXPECT_EQ(Flags(session), 0);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(300));
}

TEST_F(Faults, RemoveTheCardInTheMiddle)
{
    const CardSession session = InsertAndOpen("ref2");
    ASSERT_EQ(VerifyBok(session, bok).returned, 0);
    Order({"ES_SignData", "--remove"});
    EXPECT_EQ(Sign(session, false), eStatusREMOVED_CARD);
    EXPECT_EQ(Flags(session), eStatusREMOVED_CARD);
    EXPECT_EQ(RunTool({"remove", "ref2"}).exitCode, 7) << "it is in no reader any more";
}

TEST_F(Faults, AreListedAndForgotten)
{
    const CardSession session = InsertAndOpen("ref2");
    Order({"ES_SignData", "--status", "7", "--delay", "5", "--remove", "--count", "4"});
    Order({"QES_VerifyPin", "--delay", "1"});
    EXPECT_EQ(RunTool({"fault", "ref2"}).output,
              "ES_SignData\t7\t5\tremove\t4\t-\t-\nQES_VerifyPin\t-\t1\t-\t1\t-\t-\n");
    const auto faults = nlohmann::json::parse(RunTool({"fault", "ref2", "--json"}).output);
    ASSERT_EQ(faults.size(), 2U);
    EXPECT_EQ(faults[0]["status"], 7);
    EXPECT_EQ(faults[0]["removesCard"], true);
    EXPECT_TRUE(faults[1]["status"].is_null());
    EXPECT_EQ(faults[1]["delay"], 1);
    Order({"--clear"});
    EXPECT_EQ(RunTool({"fault", "ref2"}).output, "");
    EXPECT_EQ(Sign(session, false), 27);
}

TEST_F(Faults, AreRefusedWhenInvalid)
{
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"Frobnicate", "--status", "7"},
                                                      {"ES_SignData"},
                                                      {"ES_SignData", "--status", "eNoSuchStatus"},
                                                      {"ES_SignData", "--status", ""},
                                                      {"ES_SignData", "--status", "7", "--count", "0"},
                                                      {"ES_SignData", "--delay", "-1"},
                                                      {"ES_SignData", "--status", "7", "--verified"},
                                                      {"QES_VerifyPin", "--delay", "1", "--verified"},
                                                      {"any", "--status", "7", "--code-state", "1"},
                                                      {"QES_VerifyPin", "--code-state", "1"}}) {
        std::vector<std::string> words = {"fault", "ref2"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(RunTool(words).exitCode, 2);
    }
    EXPECT_EQ(RunTool({"fault", "nobody"}).exitCode, 3);
    EXPECT_EQ(RunTool({"fault", "ref2"}).output, "");
}

TEST_F(Faults, AreKeptWhenAnInvalidOneIsRefused)
{
    Order({"ES_SignData", "--status", "7"});
    EXPECT_EQ(RunTool({"fault", "ref2", "Frobnicate", "--clear", "--status", "7"}).exitCode,
              exitBadArguments);
    EXPECT_EQ(RunTool({"fault", "ref2"}).output, "ES_SignData\t7\t0\t-\t1\t-\t-\n");
}

// It answers a length, or less than zero: the host would take a length for one that was written.
TEST_F(Faults, OfTheReaderListReturnANegativeValue)
{
    Insert("ref2");
    std::u16string buffer(1024, u'\1');
    for (const char* status : {"-5", "5", "-2147483648"}) {
        Order({"GetReaderList", std::string("--status=") + status});
        EXPECT_LT(Library().getReaderList(buffer.data(), 1023), 0) << status;
    }
}

} // namespace
