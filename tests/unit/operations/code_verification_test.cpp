#include "src/operations/code_verification.h"

#include "tests/unit/card/stub_card.h"
#include "tests/unit/log/log_capture.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr CardSession session = 31;

// An outcome of a verification and what it gives.
struct Outcome
{
    const char* name;
    CardStatus returned;
    uint8_t verified;
    uint32_t status;
    CK_RV expected;
};

void PrintTo(const Outcome& row, std::ostream* out)
{
    *out << row.name;
}

std::string NameOfOutcome(const testing::TestParamInfo<Outcome>& row)
{
    return row.param.name;
}

constexpr Outcome loginOutcomes[] = {
    {"IncorrectCode", 15, 0, 0, 0xA0},
    {"IncorrectCodeThoughVerified", 15, 1, 0, 0xA0},
    {"IncorrectCodeThoughLocked", 15, 0, 3, 0xA0},
    {"UserInputError", 18, 0, 0, 0x50},
    {"UserInputErrorThoughVerified", 18, 1, 0, 0x50},
    {"InvalidParam", 1, 0, 0, 6},
    {"InvalidParamThoughVerified", 1, 1, 0, 6},
    {"InvalidParamThoughLocked", 1, 0, 3, 6},
    {"CodesDontMatch", 16, 1, 0, 6},
    {"InvalidResponse", 19, 1, 0, 6},
    {"ReaderCancelled", 65, 1, 0, 6},
    {"Negative", -1, 1, 0, 6},
    {"OkVerified", 0, 1, 0, 0},
    {"OkVerifiedThoughLocked", 0, 1, 3, 0},
    {"InvalidCodeStateVerified", 17, 1, 5, 0},
    {"OkStatus0", 0, 0, 0, 6},
    {"OkStatus1", 0, 0, 1, 0x102},
    {"OkStatus2", 0, 0, 2, 6},
    {"OkStatus3", 0, 0, 3, 0xA4},
    {"OkStatus4", 0, 0, 4, 0x102},
    {"OkStatus5", 0, 0, 5, 0xA4},
    {"OkStatus6", 0, 0, 6, 6},
    {"InvalidCodeStateStatus0", 17, 0, 0, 6},
    {"InvalidCodeStateStatus1", 17, 0, 1, 0x102},
    {"InvalidCodeStateStatus2", 17, 0, 2, 6},
    {"InvalidCodeStateStatus3", 17, 0, 3, 0xA4},
    {"InvalidCodeStateStatus4", 17, 0, 4, 0x102},
    {"InvalidCodeStateStatus5", 17, 0, 5, 0xA4},
    {"InvalidCodeStateStatusMax", 17, 0, 0xFFFFFFFF, 6},
    {"VerifiedTwoIsNotVerified", 0, 2, 3, 0xA4},
};

constexpr Outcome signatureOutcomes[] = {
    {"UserInputError", 18, 0, 0, 0x50},
    {"UserInputErrorThoughVerified", 18, 1, 0, 0x50},
    {"UserInputErrorThoughLocked", 18, 0, 3, 0x50},
    {"OkVerified", 0, 1, 0, 0},
    {"FailureThoughVerified", 1, 1, 0, 0},
    {"InvalidCodeStateVerified", 17, 1, 3, 0},
    {"NegativeVerified", -1, 1, 0, 0},
    {"Status0", 0, 0, 0, 0xE1},
    {"Status1", 0, 0, 1, 0x102},
    {"Status2", 0, 0, 2, 0xA0},
    {"Status3", 0, 0, 3, 0xA4},
    {"Status4", 0, 0, 4, 0x102},
    {"Status5", 0, 0, 5, 0xA4},
    {"Status6", 0, 0, 6, 0xA0},
    {"StatusMax", 0, 0, 0xFFFFFFFF, 0xA0},
    {"FailureStatus0", 7, 0, 0, 0xE1},
    {"FailureStatus3", 7, 0, 3, 0xA4},
    {"InvalidCodeStateStatus2", 17, 0, 2, 0xA0},
    {"VerifiedTwoIsNotVerified", 0, 2, 5, 0xA4},
};

class LoginOutcomes : public testing::TestWithParam<Outcome>
{
};

class CodeVerification : public testing::Test
{
protected:
    CodeVerification() { ResetStubCard(); }
};

class SignatureOutcomes : public testing::TestWithParam<Outcome>
{
protected:
    SignatureOutcomes() { ResetStubCard(); }
};

} // namespace

TEST_P(LoginOutcomes, AreJudgedByTheTable)
{
    VerifyResult result = MakeVerifyResult();
    result.verified = GetParam().verified;
    result.status = GetParam().status;
    EXPECT_EQ(JudgeLogin(GetParam().returned, result), GetParam().expected);
}
INSTANTIATE_TEST_SUITE_P(All, LoginOutcomes, testing::ValuesIn(loginOutcomes), NameOfOutcome);

TEST_P(SignatureOutcomes, AreJudgedByTheTable)
{
    StubCard().verifyAnswers = {{GetParam().returned, GetParam().status, GetParam().verified}};
    EXPECT_EQ(AskForSignaturePin(session), GetParam().expected);
    EXPECT_EQ(StubCard().verifyCalls.size(), 1U);
}
INSTANTIATE_TEST_SUITE_P(All, SignatureOutcomes, testing::ValuesIn(signatureOutcomes), NameOfOutcome);

TEST_F(CodeVerification, RecordIsZeroButForItsSecondField)
{
    const VerifyResult result = MakeVerifyResult();
    EXPECT_EQ(result.status, 0U);
    EXPECT_EQ(result.unread4, -1);
    EXPECT_EQ(result.verified, 0);
    EXPECT_TRUE(std::all_of(std::begin(result.unread9), std::end(result.unread9),
                            [](uint8_t byte) { return byte == 0; }));
}

TEST_F(CodeVerification, LoginCodeGoesToTheCardWithItsConstants)
{
    StubCard().verifyAnswers = {{15, 2, 1}};
    VerifyResult result = MakeVerifyResult();
    EXPECT_EQ(VerifyLoginCode(session, "123456", result), 15);
    EXPECT_EQ(result.status, 2U);
    EXPECT_EQ(result.verified, 1);
    ASSERT_EQ(StubCard().verifyCalls.size(), 1U);
    const auto& call = StubCard().verifyCalls[0];
    EXPECT_FALSE(call.signaturePin);
    EXPECT_EQ(call.session, session);
    EXPECT_EQ(call.code, "123456");
    EXPECT_EQ(call.resultBefore.unread4, -1);
    EXPECT_TRUE(call.fourthIsNull);
    EXPECT_EQ(call.fifth, 0U);
    EXPECT_EQ(call.sixth, 0U);
    EXPECT_EQ(call.seventh, 0U);
}

TEST_F(CodeVerification, SignaturePinGoesToTheCardWithItsConstants)
{
    StubCard().verifyAnswers = {{0, 0, 1}};
    VerifyResult result = MakeVerifyResult();
    EXPECT_EQ(VerifySignaturePin(session, "654321", result), 0);
    ASSERT_EQ(StubCard().verifyCalls.size(), 1U);
    const auto& call = StubCard().verifyCalls[0];
    EXPECT_TRUE(call.signaturePin);
    EXPECT_EQ(call.session, session);
    EXPECT_EQ(call.code, "654321");
    EXPECT_TRUE(call.fourthIsNull);
    EXPECT_EQ(call.fifth, 0U);
    EXPECT_EQ(call.sixth, 2U);
    EXPECT_EQ(call.seventh, 0U);
}

TEST_F(CodeVerification, NullCodeStaysNull)
{
    VerifyResult result = MakeVerifyResult();
    VerifyLoginCode(session, nullptr, result);
    VerifySignaturePin(session, nullptr, result);
    EXPECT_EQ(StubCard().verifyCalls.at(0).code, std::nullopt);
    EXPECT_EQ(StubCard().verifyCalls.at(1).code, std::nullopt);
}

TEST_F(CodeVerification, UnknownCodeStateAtLoginIsLogged)
{
    LogCapture log;
    VerifyResult result = MakeVerifyResult();
    result.status = 2;
    JudgeLogin(0, result);
    const auto lines = log.Lines();
    const LoggedLine expected{" DBG", "C_Login: Code status is unknown", "C_Login", ""};
    EXPECT_EQ(std::count(lines.begin(), lines.end(), expected), 1);
}

TEST_F(CodeVerification, KnownCodeStateAtLoginIsNotLoggedAsUnknown)
{
    LogCapture log;
    VerifyResult result = MakeVerifyResult();
    result.status = 3;
    JudgeLogin(0, result);
    EXPECT_EQ(log.Text().find("unknown"), std::string::npos);
}

TEST_F(CodeVerification, KeyboardComesBackAsLongAsThePinIsWrong)
{
    StubCard().verifyAnswers = {{15, 2, 0}, {15, 2, 0}, {15, 2, 1}, {0, 0, 1}};
    EXPECT_EQ(AskForSignaturePin(session), 0U);
    ASSERT_EQ(StubCard().verifyCalls.size(), 4U);
    for (const auto& call : StubCard().verifyCalls) {
        EXPECT_TRUE(call.signaturePin);
        EXPECT_EQ(call.session, session);
        EXPECT_EQ(call.code, std::nullopt);
        EXPECT_TRUE(call.fourthIsNull);
        EXPECT_EQ(call.fifth, 0U);
        EXPECT_EQ(call.sixth, 2U);
        EXPECT_EQ(call.seventh, 0U);
    }
}

TEST_F(CodeVerification, RecordOfTheKeyboardIsMadeOnceForAllTries)
{
    StubCard().verifyAnswers = {{15, 2, 0}, {18, 3, 0}};
    EXPECT_EQ(AskForSignaturePin(session), 0x50U);
    const auto& calls = StubCard().verifyCalls;
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].resultBefore.status, 0U);
    EXPECT_EQ(calls[0].resultBefore.unread4, -1);
    EXPECT_EQ(calls[0].resultBefore.verified, 0);
    EXPECT_EQ(calls[1].resultBefore.status, 2U);
}

TEST_F(CodeVerification, KeyboardIsLoggedAtEachTry)
{
    StubCard().verifyAnswers = {{15, 2, 0}, {0, 0, 1}};
    LogCapture log;
    AskForSignaturePin(session);
    EXPECT_EQ(log.MessagesOf("C_Sign"),
              (std::vector<std::string>{"Virtualkeyboard for Signature PIN opened...",
                                        "Virtualkeyboard for Signature PIN closed",
                                        "Virtualkeyboard for Signature PIN opened...",
                                        "Virtualkeyboard for Signature PIN closed"}));
}
