// Faults on order, seen by a program that uses the card meanwhile.
#include "card_home.h"
#include "fault.h"

#include <array>
#include <chrono>
#include <functional>
#include <map>
#include <vector>

using namespace softcard::test;

namespace {

constexpr CardStatus removedCard = 92;
constexpr CardStatus communicationError = 7;

class Faults : public CardTest
{
protected:
    static void Order(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"fault", "ref2"});
        const Finished ordered = RunTool(arguments);
        ASSERT_EQ(ordered.exitCode, 0) << ordered.errors;
    }

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

    // Every operation that can be told to fail, with arguments that are right.
    static std::map<std::string, std::function<CardStatus(CardSession)>> Operations()
    {
        using Certificates = std::array<CardCertificate, maxCertificates>;
        const auto certificates = [](auto function) {
            return [function](CardSession session) {
                const auto found = std::make_unique<Certificates>();
                const auto keys = std::make_unique<std::array<CardKeyInfo, maxCertificates>>();
                uint32_t count = 0;
                return function(session, found->data(), &count, keys->data());
            };
        };
        const auto keyInfo = [](auto function) {
            return [function](CardSession session) {
                CardKeyInfo key{};
                return function(session, 0, &key, true);
            };
        };
        return {
            {"OpenSession",
             [](CardSession) {
                 CardSession another = 0;
                 return Library().openSession(u"Reader 0", &another);
             }},
            {"StartTransaction",
             [](CardSession session) {
                 const CardStatus status = Library().startTransaction(session);
                 Library().stopTransaction(session);
                 return status;
             }},
            {"GetTokenInfo",
             [](CardSession session) {
                 CardTokenInfo info{};
                 return Library().getTokenInfo(session, &info, nullptr, nullptr);
             }},
            {"GetSessionFlags", Flags},
            {"QES_GetCertificates", certificates(Library().qesGetCertificates)},
            {"ES_GetCertificates", certificates(Library().esGetCertificates)},
            {"QES_GetKeyInfo", keyInfo(Library().qesGetKeyInfo)},
            {"ES_GetKeyInfo", keyInfo(Library().esGetKeyInfo)},
            {"QES_SignData", [](CardSession session) { return Sign(session, true); }},
            {"ES_SignData", [](CardSession session) { return Sign(session, false); }},
            {"ES_DecryptData",
             [](CardSession session) {
                 const std::vector<uint8_t> data(256, 1);
                 std::vector<uint8_t> output(512);
                 uint32_t length = 512;
                 return Library().esDecryptData(session, data.data(), 256, output.data(), &length, 0);
             }},
            {"Passwords_VerifyBOK", [](CardSession session) { return VerifyBok(session, bok).returned; }},
            {"QES_VerifyPin", [](CardSession session) { return VerifyPin(session, pin).returned; }},
        };
    }
};

TEST_F(Faults, ReachEveryOperation)
{
    const CardSession session = InsertAndOpen("ref2");
    const auto operations = Operations();
    EXPECT_EQ(operations.size(), softcard::FaultableOperations().size());
    for (const std::string& name : softcard::FaultableOperations()) {
        Order({name, "--status", "95"});
        EXPECT_EQ(operations.at(name)(session), 95) << name;
        EXPECT_NE(operations.at(name)(session), 95) << name << " the second time";
    }
}

TEST_F(Faults, HappenAsOftenAsAskedFor)
{
    const CardSession session = InsertAndOpen("ref2");
    Order({"GetSessionFlags", "--status", "eCardCommErr", "--count", "2"});
    EXPECT_EQ(Flags(session), communicationError);
    EXPECT_EQ(Sign(session, false), 27) << "another operation";
    EXPECT_EQ(Flags(session), communicationError);
    EXPECT_EQ(Flags(session), 0);
}

TEST_F(Faults, OfAnyOperationTakeTheNextOne)
{
    const CardSession session = InsertAndOpen("ref2");
    Order({"any", "--status", "eStatusTIMEOUT", "--count", "2"});
    EXPECT_EQ(VerifyBok(session, wrongCode).returned, 73);
    EXPECT_EQ(Flags(session), 73);
    EXPECT_EQ(VerifyBok(session, wrongCode).result.unread4, 2) << "the failed call spent no try";
}

TEST_F(Faults, AreForOneCard)
{
    Insert("ref3", "Other");
    const CardSession session = InsertAndOpen("ref2");
    Order({"GetSessionFlags", "--status", "7"});
    EXPECT_EQ(Flags(Open(u"Other")), 0);
    EXPECT_EQ(Flags(session), communicationError);
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
    EXPECT_EQ(Sign(session, false), removedCard);
    EXPECT_EQ(Flags(session), removedCard);
    EXPECT_EQ(RunTool({"remove", "ref2"}).exitCode, 7) << "it is in no reader any more";
}

TEST_F(Faults, AreListedAndForgotten)
{
    const CardSession session = InsertAndOpen("ref2");
    Order({"ES_SignData", "--status", "7", "--delay", "5", "--remove", "--count", "4"});
    Order({"QES_VerifyPin", "--delay", "1"});
    EXPECT_EQ(RunTool({"fault", "ref2"}).output, "ES_SignData\t7\t5\tremove\t4\nQES_VerifyPin\t-\t1\t-\t1\n");
    Order({"--clear"});
    EXPECT_EQ(RunTool({"fault", "ref2"}).output, "");
    EXPECT_EQ(Sign(session, false), 27);
}

TEST_F(Faults, MustMakeSense)
{
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"Frobnicate", "--status", "7"},
                                                      {"ES_SignData"},
                                                      {"ES_SignData", "--status", "eNoSuchStatus"},
                                                      {"ES_SignData", "--status", ""},
                                                      {"ES_SignData", "--status", "7", "--count", "0"},
                                                      {"ES_SignData", "--delay", "-1"}}) {
        std::vector<std::string> words = {"fault", "ref2"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(RunTool(words).exitCode, 2);
    }
    EXPECT_EQ(RunTool({"fault", "nobody"}).exitCode, 3);
    EXPECT_EQ(RunTool({"fault", "ref2"}).output, "");
}

} // namespace
