#include "src/store/card_token.h"

#include "tests/unit/card/stub_card.h"
#include "tests/unit/store/store_fixture.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

class CardTokenTest : public StoreTest
{
protected:
    static std::unique_ptr<CardToken> MakeToken(CardSession session = 42)
    {
        return std::make_unique<CardToken>(7, session, "Reader 0");
    }
};

} // namespace

TEST_F(CardTokenTest, BeginsLoggedOutAndWithoutTransaction)
{
    const auto token = MakeToken();
    EXPECT_EQ(token->readerName, "Reader 0");
    EXPECT_EQ(token->cardSession, 42U);
    EXPECT_EQ(token->tokenId, 7U);
    EXPECT_FALSE(token->loggedIn);
    EXPECT_FALSE(token->inTransaction);
    EXPECT_TRUE(token->keyInfoBySlot.empty());
}

TEST_F(CardTokenTest, StartTransactionCallsTheCardOnce)
{
    const auto token = MakeToken();
    EXPECT_EQ(token->StartTransaction(), 0U);
    EXPECT_TRUE(token->inTransaction);
    EXPECT_EQ(token->StartTransaction(), 144U);
    EXPECT_TRUE(token->inTransaction);
    EXPECT_EQ(StubCard().calls, std::vector<std::string>{"StartTransaction 42"});
}

TEST_F(CardTokenTest, StopTransactionCallsTheCardOnlyWhenOneIsHeld)
{
    const auto token = MakeToken();
    EXPECT_EQ(token->StopTransaction(), 145U);
    EXPECT_TRUE(StubCard().calls.empty());
    token->StartTransaction();
    EXPECT_EQ(token->StopTransaction(), 0U);
    EXPECT_FALSE(token->inTransaction);
    EXPECT_EQ(token->StopTransaction(), 145U);
    EXPECT_EQ(StubCard().calls, (std::vector<std::string>{"StartTransaction 42", "StopTransaction 42"}));
}

TEST_F(CardTokenTest, TransactionsIgnoreWhatTheCardMakesOfThem)
{
    StubCard().transactionStatus = 7;
    const auto token = MakeToken();
    EXPECT_EQ(token->StartTransaction(), 0U);
    EXPECT_TRUE(token->inTransaction);
    EXPECT_EQ(token->StopTransaction(), 0U);
    EXPECT_FALSE(token->inTransaction);
}

TEST_F(CardTokenTest, TransactionCanBeStartedAgain)
{
    const auto token = MakeToken();
    token->StartTransaction();
    token->StopTransaction();
    EXPECT_EQ(token->StartTransaction(), 0U);
    EXPECT_EQ(CallsOf("StartTransaction 42"), 2);
}

TEST_F(CardTokenTest, EndClosesTheSession)
{
    MakeToken();
    EXPECT_EQ(StubCard().calls, std::vector<std::string>{"CloseSession 42"});
}

TEST_F(CardTokenTest, EndStopsAHeldTransactionBeforeItClosesTheSession)
{
    MakeToken()->StartTransaction();
    EXPECT_EQ(StubCard().calls,
              (std::vector<std::string>{"StartTransaction 42", "StopTransaction 42", "CloseSession 42"}));
}

TEST_F(CardTokenTest, SecureMessagingIsTheThirdBitOfTheFlags)
{
    const auto token = MakeToken();
    for (uint32_t flags = 0; flags < 16; ++flags) {
        StubCard().flags = flags;
        EXPECT_EQ(token->IsSecureMessagingActive(), (flags & 4) != 0) << flags;
    }
    EXPECT_EQ(CallsOf("GetSessionFlags 42"), 16);
}

TEST_F(CardTokenTest, SecureMessagingIsNotActiveWhenTheCardFails)
{
    const auto token = MakeToken();
    StubCard().flags = 0xFFFFFFFF;
    StubCard().flagsStatus = 1;
    EXPECT_FALSE(token->IsSecureMessagingActive());
    StubCard().flagsStatus = -1;
    EXPECT_FALSE(token->IsSecureMessagingActive());
}

TEST_F(CardTokenTest, SecureMessagingIsNotActiveWithoutASessionAndTheCardIsNotAsked)
{
    const auto token = MakeToken(0);
    StubCard().flags = 4;
    EXPECT_FALSE(token->IsSecureMessagingActive());
    EXPECT_TRUE(StubCard().calls.empty());
}

TEST_F(CardTokenTest, EndOfTheCardSessionComesOnce)
{
    auto token = MakeToken();
    token->StartTransaction();
    token->EndCardSession();
    token->EndCardSession();
    token = nullptr;
    EXPECT_EQ(StubCard().calls,
              (std::vector<std::string>{"StartTransaction 42", "StopTransaction 42", "CloseSession 42"}));
}

TEST_F(CardTokenTest, WhatTheCardThrowsAtTheEndReachesWhoAsksForItAndLeavesNoDestructor)
{
    StubCard().onCloseSession = [](CardSession) { throw std::runtime_error("scripted"); };
    auto asked = MakeToken();
    EXPECT_THROW(asked->EndCardSession(), std::runtime_error);
    asked = nullptr;
    auto unasked = MakeToken();
    unasked = nullptr;
    EXPECT_EQ(CallsOf("CloseSession 42"), 2);
}
