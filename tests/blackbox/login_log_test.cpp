// The log lines of login and logout, which mark their steps.
#include "tests/support/black_box_test.h"
#include "tests/support/frame_lines.h"
#include "tests/support/log_capture.h"

#include <algorithm>

namespace blackbox {
namespace {

class LoginLogTest : public BlackBoxTest
{
protected:
    // The lines under `function` that the call makes.
    template <typename Call>
    Texts LinesOf(const std::string& function, const Call& call)
    {
        log.Forget();
        call();
        return log.TakeOf(function);
    }

    Texts LoginLines(CK_USER_TYPE user)
    {
        return LinesOf("C_Login", [&] { static_cast<void>(Login(session, user)); });
    }

    void Start()
    {
        InitializeWithCard();
        session = OpenSession(1);
    }

    LogCapture log{script};
    CK_SESSION_HANDLE session = 0;
    const std::string entering = EnteringLine("C_Login");
    const std::string transactionNote =
        "DBG C_Login: Cannot open new transaction, another transaction on this token already active";
    const std::string goingToVerify = "DBG C_Login: C_Login: Going to call CA_VerifyBOK";
};

TEST_F(LoginLogTest, UserLogin)
{
    Start();
    EXPECT_EQ(LoginLines(CKU_USER),
              (Texts{entering, transactionNote, goingToVerify,
                     "DBG C_Login: C_Login: CA_VerifyBOK returns: 0", LeavingLine("C_Login", "0 CKR_OK")}));
}

TEST_F(LoginLogTest, LoginThatStartsTheTransactionHasNoNote)
{
    Start();
    LoginUser(session);
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    EXPECT_EQ(LoginLines(CKU_USER),
              (Texts{entering, goingToVerify, "DBG C_Login: C_Login: CA_VerifyBOK returns: 0",
                     LeavingLine("C_Login", "0 CKR_OK")}));
}

TEST_F(LoginLogTest, AlreadyLoggedIn)
{
    Start();
    LoginUser(session);
    EXPECT_EQ(LoginLines(CKU_USER),
              (Texts{entering, transactionNote, "DBG C_Login: C_Login: Card token login state is set to true",
                     "DBG C_Login: C_Login: SM is active on card",
                     "DBG C_Login: C_Login: User is already logged in on card",
                     LeavingLine("C_Login", "100 CKR_USER_ALREADY_LOGGED_IN")}));
}

TEST_F(LoginLogTest, BrokenChannel)
{
    Start();
    LoginUser(session);
    script->ChangeCard(readerA, [](Card& card) { card.flags = cardPresentFlag; });
    script->Next("Passwords_VerifyBOK", {.status = incorrectCode});
    EXPECT_EQ(LoginLines(CKU_USER),
              (Texts{entering, transactionNote, "DBG C_Login: C_Login: Card token login state is set to true",
                     "DBG C_Login: C_Login: SM was broken on card", goingToVerify,
                     "DBG C_Login: C_Login: CA_VerifyBOK returns: 15",
                     LeavingLine("C_Login", "a0 CKR_PIN_INCORRECT")}));
}

TEST_F(LoginLogTest, ContextLogin)
{
    Start();
    script->Next("QES_VerifyPin", {.status = -7});
    EXPECT_EQ(LoginLines(CKU_CONTEXT_SPECIFIC),
              (Texts{entering, transactionNote, "DBG C_Login: C_Login: Going to call CA_VerifyPIN",
                     "DBG C_Login: C_Login: CA_VerifyPIN returns: -7",
                     LeavingLine("C_Login", "6 CKR_FUNCTION_FAILED")}));
    LoginLines(CKU_CONTEXT_SPECIFIC);
    EXPECT_EQ(LoginLines(CKU_CONTEXT_SPECIFIC),
              (Texts{entering, transactionNote, LeavingLine("C_Login", "100 CKR_USER_ALREADY_LOGGED_IN")}));
}

TEST_F(LoginLogTest, CodeStateThatIsKnown)
{
    Start();
    VerifyResult locked{};
    locked.status = 3;
    script->Next("Passwords_VerifyBOK", {.status = invalidCodeState, .verify = locked});
    EXPECT_EQ(LoginLines(CKU_USER), (Texts{entering, transactionNote, goingToVerify,
                                           "DBG C_Login: C_Login: CA_VerifyBOK returns: 17",
                                           "DBG C_Login: C_Login: CA Verify end with status: 3",
                                           LeavingLine("C_Login", "a4 CKR_PIN_LOCKED")}));
}

TEST_F(LoginLogTest, CodeStateThatIsUnknown)
{
    Start();
    VerifyResult unknown{};
    unknown.status = 2;
    script->Next("Passwords_VerifyBOK", {.verify = unknown});
    EXPECT_EQ(LoginLines(CKU_USER), (Texts{entering, transactionNote, goingToVerify,
                                           "DBG C_Login: C_Login: CA_VerifyBOK returns: 0",
                                           "DBG C_Login: C_Login: CA Verify end with status: 2",
                                           "DBG C_Login: C_Login: Code status is unknown",
                                           LeavingLine("C_Login", "6 CKR_FUNCTION_FAILED")}));
}

TEST_F(LoginLogTest, UnknownUserType)
{
    Start();
    EXPECT_EQ(LoginLines(CKU_SO),
              (Texts{entering, transactionNote, "DBG C_Login: C_Login: CA Verify end with status: 0",
                     "DBG C_Login: C_Login: Code status is unknown",
                     LeavingLine("C_Login", "6 CKR_FUNCTION_FAILED")}));
}

TEST_F(LoginLogTest, UnknownSession)
{
    Start();
    EXPECT_EQ(LinesOf("C_Login", [&] { f->C_Login(99, CKU_USER, nullptr, 0); }),
              (Texts{entering, LeavingLine("C_Login", "b3 CKR_SESSION_HANDLE_INVALID")}));
    EXPECT_EQ(LinesOf("C_Logout", [&] { f->C_Logout(99); }),
              (Texts{EnteringLine("C_Logout"), "DBG C_Logout: C_Logout: Get session",
                     LeavingLine("C_Logout", "b3 CKR_SESSION_HANDLE_INVALID")}));
}

TEST_F(LoginLogTest, LogoutMarksItsSteps)
{
    Start();
    LoginUser(session);
    EXPECT_EQ(
        LinesOf("C_Logout", [&] { f->C_Logout(session); }),
        (Texts{
            EnteringLine("C_Logout"), "DBG C_Logout: C_Logout: Get session",
            "DBG C_Logout: C_Logout: Get card session", "DBG C_Logout: Set all card sessions to not logged",
            "DBG C_Logout: C_Logout: Digest manager reset",
            "DBG C_Logout: C_Logout: Find object manager reset", "DBG C_Logout: C_Logout: Sign manager reset",
            "DBG C_Logout: C_Logout: StopTransaction going  to call",
            "DBG C_Logout: C_Logout: StopTransaction call end", LeavingLine("C_Logout", "0 CKR_OK")}));
}

TEST_F(LoginLogTest, LogoutResetsTheSigningBetweenItsLines)
{
    Start();
    LoginUser(session);
    log.Forget();
    ASSERT_EQ(f->C_Logout(session), CKR_OK);
    const Texts lines = log.Take();
    const auto reset = std::find(lines.begin(), lines.end(), "DBG C_Logout: C_Logout: Sign manager reset");
    ASSERT_GT(lines.end() - reset, 3);
    EXPECT_EQ(Texts(reset + 1, reset + 4), (Texts{"DBG SignManager::Reset: SignManager::Reset called",
                                                  "DBG SignManager::Reset: SignManager::Reset end",
                                                  "DBG C_Logout: C_Logout: StopTransaction going  to call"}));
}

TEST_F(LoginLogTest, LogoutOfASessionThatIsNotLoggedIn)
{
    Start();
    EXPECT_EQ(LinesOf("C_Logout", [&] { f->C_Logout(session); }),
              (Texts{EnteringLine("C_Logout"), "DBG C_Logout: C_Logout: Get session",
                     "DBG C_Logout: C_Logout: Get card session",
                     LeavingLine("C_Logout", "101 CKR_USER_NOT_LOGGED_IN")}));
}

TEST_F(LoginLogTest, NoLineHoldsTheCode)
{
    Start();
    log.Forget();
    static_cast<void>(Login(session, CKU_USER, "73519264"));
    static_cast<void>(Login(session, CKU_CONTEXT_SPECIFIC, "73519264"));
    const std::string raw = log.Raw();
    EXPECT_NE(raw.find("C_Login"), std::string::npos);
    EXPECT_EQ(raw.find("73519264"), std::string::npos);
}

} // namespace
} // namespace blackbox
