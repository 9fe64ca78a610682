#include "src/card/card_connection.h"

#include "src/card/card_status.h"
#include "tests/unit/card/stub_card.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

namespace {

class CardConnectionTest : public testing::Test
{
protected:
    CardConnectionTest() { ResetStubCard(); }
    ~CardConnectionTest() override { StubCard().onCloseSession = nullptr; }

    static std::unique_ptr<CardConnection> Connect(CardSession open = 42)
    {
        return std::make_unique<CardConnection>(open);
    }
};

} // namespace

TEST_F(CardConnectionTest, StartTransactionCallsTheCardOnce)
{
    const auto connection = Connect();
    EXPECT_TRUE(connection->StartTransaction());
    EXPECT_FALSE(connection->StartTransaction());
    EXPECT_EQ(StubCard().calls, std::vector<std::string>{"StartTransaction 42"});
}

TEST_F(CardConnectionTest, StopTransactionCallsTheCardOnlyWhenOneIsHeld)
{
    const auto connection = Connect();
    EXPECT_FALSE(connection->StopTransaction());
    EXPECT_TRUE(StubCard().calls.empty());
    connection->StartTransaction();
    EXPECT_TRUE(connection->StopTransaction());
    EXPECT_FALSE(connection->StopTransaction());
    EXPECT_EQ(StubCard().calls, (std::vector<std::string>{"StartTransaction 42", "StopTransaction 42"}));
}

TEST_F(CardConnectionTest, TransactionsIgnoreWhatTheCardMakesOfThem)
{
    StubCard().transactionStatus = 7;
    const auto connection = Connect();
    EXPECT_TRUE(connection->StartTransaction());
    EXPECT_TRUE(connection->StopTransaction());
}

TEST_F(CardConnectionTest, TransactionCanBeStartedAgain)
{
    const auto connection = Connect();
    connection->StartTransaction();
    connection->StopTransaction();
    EXPECT_TRUE(connection->StartTransaction());
    EXPECT_EQ(CallsOf("StartTransaction 42"), 2);
}

TEST_F(CardConnectionTest, DestructorClosesTheSession)
{
    Connect();
    EXPECT_EQ(StubCard().calls, std::vector<std::string>{"CloseSession 42"});
}

TEST_F(CardConnectionTest, DestructorStopsAHeldTransactionBeforeItClosesTheSession)
{
    Connect()->StartTransaction();
    EXPECT_EQ(StubCard().calls,
              (std::vector<std::string>{"StartTransaction 42", "StopTransaction 42", "CloseSession 42"}));
}

TEST_F(CardConnectionTest, SecureMessagingIsTheThirdBitOfTheFlags)
{
    const auto connection = Connect();
    for (uint32_t flags = 0; flags < 16; ++flags) {
        StubCard().flags = flags;
        EXPECT_EQ(connection->IsSecureMessagingActive(), (flags & 4) != 0) << flags;
    }
    EXPECT_EQ(CallsOf("GetSessionFlags 42"), 16);
}

TEST_F(CardConnectionTest, SecureMessagingIsNotActiveWhenTheCardFails)
{
    const auto connection = Connect();
    StubCard().flags = 0xFFFFFFFF;
    StubCard().flagsStatus = 1;
    EXPECT_FALSE(connection->IsSecureMessagingActive());
    StubCard().flagsStatus = -1;
    EXPECT_FALSE(connection->IsSecureMessagingActive());
}

TEST_F(CardConnectionTest, SecureMessagingIsNotActiveWithoutASessionAndTheCardIsNotAsked)
{
    const auto connection = Connect(0);
    StubCard().flags = 4;
    EXPECT_FALSE(connection->IsSecureMessagingActive());
    EXPECT_TRUE(StubCard().calls.empty());
}

TEST_F(CardConnectionTest, EndsTheCardSessionOnce)
{
    auto connection = Connect();
    connection->StartTransaction();
    connection->End();
    connection->End();
    connection = nullptr;
    EXPECT_EQ(StubCard().calls,
              (std::vector<std::string>{"StartTransaction 42", "StopTransaction 42", "CloseSession 42"}));
}

TEST_F(CardConnectionTest, EndThrowsWhatTheCardThrowsAndTheDestructorDoesNot)
{
    StubCard().onCloseSession = [](CardSession) { throw std::runtime_error("scripted"); };
    auto ended = Connect();
    EXPECT_THROW(ended->End(), std::runtime_error);
    ended = nullptr;
    auto destroyed = Connect();
    destroyed = nullptr;
    EXPECT_EQ(CallsOf("CloseSession 42"), 2);
}

TEST_F(CardConnectionTest, TokenInfoIsAskedForWithRoomForATextOf127Characters)
{
    StubCard().tokenInfo.versions[0] = 9;
    const auto connection = Connect();
    CardTokenInfo info;
    EXPECT_EQ(connection->GetTokenInfo(info), eStatusOk);
    EXPECT_EQ(info.versions[0], 9);
    EXPECT_EQ(StubCard().calls, std::vector<std::string>{"GetTokenInfo 42"});
    EXPECT_EQ(StubCard().tokenInfoCapacity, 127U);
}
