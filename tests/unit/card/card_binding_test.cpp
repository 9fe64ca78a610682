// That each function reaches its namesake in the card-access library with its arguments as they were given.
#include "src/card/card_api.h"

#include "tests/unit/card/stub_card.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace {

class CardBinding : public testing::Test
{
protected:
    CardBinding() { ResetStubCard(); }
};

constexpr CardSession session = 0x1122334455667788;

std::string WithSession(const std::string& function)
{
    return function + " " + std::to_string(session);
}

uint32_t eventOfCallback = 0;

void Callback(uint32_t event, const char16_t*, CardSession, const CardStatus*)
{
    eventOfCallback = event;
}

} // namespace

TEST(CardRecords, HaveTheirFieldsAtTheirOffsets)
{
    EXPECT_EQ(sizeof(CardTokenInfo), 168U);
    EXPECT_EQ(offsetof(CardTokenInfo, versions), 16U);
    EXPECT_EQ(offsetof(CardTokenInfo, manufacturer), 36U);
    EXPECT_EQ(offsetof(CardTokenInfo, model), 100U);
    EXPECT_EQ(sizeof(CardKeyInfo), 1056U);
    EXPECT_EQ(offsetof(CardKeyInfo, keyReference), 0U);
    EXPECT_EQ(offsetof(CardKeyInfo, modulusBits), 4U);
    EXPECT_EQ(offsetof(CardKeyInfo, modulus), 8U);
    EXPECT_EQ(offsetof(CardKeyInfo, modulusLength), 1032U);
    EXPECT_EQ(offsetof(CardKeyInfo, publicExponent), 1040U);
    EXPECT_EQ(offsetof(CardKeyInfo, publicExponentLength), 1048U);
    EXPECT_EQ(sizeof(CardCertificate), 4100U);
    EXPECT_EQ(offsetof(CardCertificate, length), 0U);
    EXPECT_EQ(offsetof(CardCertificate, data), 4U);
    EXPECT_EQ(sizeof(VerifyResult), 48U);
    EXPECT_EQ(offsetof(VerifyResult, status), 0U);
    EXPECT_EQ(offsetof(VerifyResult, unread4), 4U);
    EXPECT_EQ(offsetof(VerifyResult, verified), 8U);
}

TEST_F(CardBinding, DirectoriesGetBufferAndCapacity)
{
    char16_t buffer[8] = {};
    CardAPI_GetAppDataDir(buffer, 7);
    EXPECT_EQ(buffer[0], u'a');
    EXPECT_EQ(StubCard().appDataCapacity, 7U);
    CardAPI_GetUserDataDir(buffer, 6);
    EXPECT_EQ(buffer[0], u'u');
    EXPECT_EQ(StubCard().userDataCapacity, 6U);
}

TEST_F(CardBinding, StartAndEndArrive)
{
    int logger = 0;
    CardAPI_Initialize(&logger);
    EXPECT_EQ(StubCard().logger, &logger);
    CardAPI_Finalize();
    EXPECT_EQ(StubCard().calls, (std::vector<std::string>{"Initialize 0", "Finalize 0"}));
}

TEST_F(CardBinding, ReaderListGivesNamesAndCount)
{
    StubCard().readers = std::u16string(u"one\0two\0", 8);
    StubCard().readerCount = 8;
    char16_t buffer[1024] = {};
    EXPECT_EQ(CardAPI_GetReaderList(buffer, 1023), 8);
    EXPECT_EQ(std::u16string(buffer), u"one");
    EXPECT_EQ(CallsOf("GetReaderList 1023"), 1);
    StubCard().readerCount = -5;
    EXPECT_EQ(CardAPI_GetReaderList(buffer, 1023), -5);
}

TEST_F(CardBinding, OpenSessionStoresTheSession)
{
    CardSession opened = 0;
    EXPECT_NE(CardAPI_OpenSession(u"reader", &opened), 0);
    EXPECT_EQ(opened, 0U);
    StubCard().nextSession = session;
    EXPECT_EQ(CardAPI_OpenSession(u"reader", &opened), 0);
    EXPECT_EQ(opened, session);
    EXPECT_EQ(StubCard().openedReaders, (std::vector<std::u16string>{u"reader", u"reader"}));
}

TEST_F(CardBinding, SessionCallsGetTheSessionAndReturnTheStatus)
{
    StubCard().closeStatus = 4;
    StubCard().transactionStatus = 5;
    EXPECT_EQ(CardAPI_CloseSession(session), 4);
    EXPECT_EQ(CardAPI_StartTransaction(session), 5);
    EXPECT_EQ(CardAPI_StopTransaction(session), 5);
    EXPECT_EQ(StubCard().calls,
              (std::vector<std::string>{WithSession("CloseSession"), WithSession("StartTransaction"),
                                        WithSession("StopTransaction")}));
}

TEST_F(CardBinding, TokenInfoAndFlagsAreFilled)
{
    StubCard().tokenInfo.versions[2] = 9;
    StubCard().tokenInfoStatus = 6;
    CardTokenInfo info{};
    char text[128] = {};
    uint32_t capacity = 127;
    EXPECT_EQ(CardAPI_GetTokenInfo(session, &info, text, &capacity), 6);
    EXPECT_EQ(info.versions[2], 9);
    EXPECT_EQ(StubCard().tokenInfoCapacity, 127U);

    StubCard().flags = 5;
    uint32_t flags = 0;
    EXPECT_EQ(CardAPI_GetSessionFlags(session, &flags), 0);
    EXPECT_EQ(flags, 5U);
}

TEST_F(CardBinding, WaitCallsBack)
{
    StubCard().onWait = [](ReaderCallback callback) {
        const CardStatus status = 0;
        callback(cardRemovedEvent, u"reader", session, &status);
    };
    EXPECT_EQ(CardAPI_WaitForReaderEvent(500, Callback), 0);
    EXPECT_EQ(StubCard().waits, std::vector<uint32_t>{500});
    EXPECT_EQ(eventOfCallback, 4U);
}

TEST_F(CardBinding, CertificatesAndKeysAreFilledForBothFamilies)
{
    StubCard().certificates = {{1, 2, 3}};
    StubCard().keys.resize(1);
    StubCard().keys[0].keyReference = 3;
    StubCard().certificateCount = 1;
    CardCertificate certificates[maxCertificates] = {};
    CardKeyInfo keys[maxCertificates] = {};
    uint32_t count = 0;
    EXPECT_EQ(CardAPI_QES_GetCertificates(session, certificates, &count, keys), 0);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(certificates[0].length, 3U);
    EXPECT_EQ(keys[0].keyReference, 3U);
    StubCard().certificateStatus = 24;
    EXPECT_EQ(CardAPI_ES_GetCertificates(session, certificates, &count, keys), 24);
    EXPECT_EQ(StubCard().calls, (std::vector<std::string>{WithSession("QES_GetCertificates"),
                                                          WithSession("ES_GetCertificates")}));
}

TEST_F(CardBinding, KeyInfoOfBothFamilies)
{
    CardKeyInfo key{};
    CardAPI_QES_GetKeyInfo(session, 0, &key, true);
    EXPECT_EQ(key.keyReference, 2U);
    CardAPI_ES_GetKeyInfo(session, 0, &key, true);
    EXPECT_EQ(key.keyReference, 3U);
}

TEST_F(CardBinding, SigningAndDecryptingPassDataAndLengths)
{
    StubCard().signature = {7, 8, 9};
    StubCard().signStatus = 2;
    const uint8_t data[] = {1, 2};
    uint8_t output[16] = {};
    uint32_t length = sizeof(output);
    EXPECT_EQ(CardAPI_QES_SignData(session, data, 2, output, &length, 0), 2);
    EXPECT_EQ(length, 3U);
    EXPECT_EQ(output[2], 9);
    length = sizeof(output);
    EXPECT_EQ(CardAPI_ES_SignData(session, data, 2, output, &length, 0), 2);
    length = sizeof(output);
    EXPECT_EQ(CardAPI_ES_DecryptData(session, data, 2, output, &length, 5), 2);

    const char* const functions[] = {"QES_SignData", "ES_SignData", "ES_DecryptData"};
    ASSERT_EQ(StubCard().signCalls.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        const auto& call = StubCard().signCalls[i];
        EXPECT_EQ(call.function, functions[i]);
        EXPECT_EQ(call.session, session);
        EXPECT_EQ(call.data, (std::vector<uint8_t>{1, 2}));
        EXPECT_EQ(call.capacity, 16U);
        EXPECT_EQ(call.lastArgument, i == 2 ? 5U : 0U);
    }
}

TEST_F(CardBinding, VerificationsPassCodeAndConstants)
{
    StubCard().verifyAnswers = {{0, 0, 1}, {15, 2, 0}};
    VerifyResult result{};
    EXPECT_EQ(CardAPI_Passwords_VerifyBOK(session, "123", &result, nullptr, 4, 5, 6), 0);
    EXPECT_EQ(result.verified, 1);
    EXPECT_EQ(CardAPI_QES_VerifyPin(session, nullptr, &result, nullptr, 7, 8, 9), 15);
    EXPECT_EQ(result.status, 2U);
    const auto& calls = StubCard().verifyCalls;
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_FALSE(calls[0].signaturePin);
    EXPECT_EQ(calls[0].code, "123");
    EXPECT_EQ(calls[0].fifth, 4U);
    EXPECT_EQ(calls[0].sixth, 5U);
    EXPECT_EQ(calls[0].seventh, 6U);
    EXPECT_TRUE(calls[1].signaturePin);
    EXPECT_EQ(calls[1].code, std::nullopt);
    EXPECT_EQ(calls[1].seventh, 9U);
}
