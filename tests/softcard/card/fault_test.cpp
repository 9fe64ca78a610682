#include "softcard/card/fault.h"

#include "softcard/card/card_store.h"
#include "tests/softcard/card_home.h"
#include "tests/softcard/refusals.h"

using namespace softcard;
using namespace softcard::test;

namespace {

class FaultTest : public CardTest
{
protected:
    // The failure that the operation meets on the card; nothing when it is done.
    std::optional<Fault> Meet(const std::string& operation)
    {
        try {
            MeetFault(directories, "ref1", operation);
        } catch (const OrderedFailure& failure) {
            return failure.Ordered();
        }
        return std::nullopt;
    }

    const Directories directories{Home() / "config", State()};
    const std::filesystem::path card = directories.Cards() / "ref1";
};

TEST_F(FaultTest, IsReadAsItWasWritten)
{
    Fault fault;
    fault.operation = "QES_VerifyPin";
    fault.status = eIncorrectCode;
    fault.codeState = 2;
    fault.verified = true;
    fault.delay = std::chrono::milliseconds(3);
    fault.removesCard = true;
    fault.count = 4;
    AddFault(card, fault);
    const std::vector<Fault> read = ReadFaults(card);
    ASSERT_EQ(read.size(), 1U);
    EXPECT_EQ(read[0].operation, fault.operation);
    EXPECT_EQ(read[0].status, fault.status);
    EXPECT_EQ(read[0].codeState, fault.codeState);
    EXPECT_TRUE(read[0].verified);
    EXPECT_EQ(read[0].delay, fault.delay);
    EXPECT_TRUE(read[0].removesCard);
    EXPECT_EQ(read[0].count, fault.count);
    ClearFaults(card);
    EXPECT_TRUE(ReadFaults(card).empty());
}

TEST_F(FaultTest, HappensToItsOperationAsOftenAsOrdered)
{
    Fault fault;
    fault.operation = "QES_SignData";
    fault.status = eInternalError;
    fault.count = 2;
    AddFault(card, fault);
    EXPECT_FALSE(Meet("ES_SignData").has_value());
    EXPECT_TRUE(Meet("QES_SignData").has_value());
    EXPECT_TRUE(Meet("QES_SignData").has_value());
    EXPECT_FALSE(Meet("QES_SignData").has_value());
}

TEST_F(FaultTest, RemovesNoCardThatIsInNoReader)
{
    Fault fault;
    fault.operation = anyOperation;
    fault.removesCard = true;
    AddFault(card, fault);
    EXPECT_TRUE(Meet("OpenSession").has_value());
    EXPECT_FALSE(Meet("OpenSession").has_value());
}

TEST_F(FaultTest, FileThatWouldGetTooLargeTakesNoMore)
{
    const std::string faults = R"([{"delay":0,"count":1,"removesCard":false,"operation":")" +
                               std::string(longestFile - 200, 'x') + R"("}])";
    WriteText(card / "faults.json", faults);
    Fault fault;
    fault.operation = anyOperation;
    EXPECT_EQ(FailureOf([&] { AddFault(card, fault); }), StoreFailure::badArgument);
    EXPECT_TRUE(ReadFile(card / "faults.json") == faults);
}

} // namespace
