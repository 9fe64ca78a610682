// How long a login takes at least that the card's keyboard is to ask for.
#include "tests/front/front_test.h"
#include "tests/front/other_thread.h"
#include "tests/support/test_certificates.h"

#include <algorithm>
#include <chrono>
#include <functional>

namespace front_test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds leastTime{300};
// A machine may be busy with something else in one of them.
constexpr int attempts = 10;

class DialogTimeTest : public FrontTest
{
protected:
    // Two sessions, the first of which is logged in, so that no login of the second one's asks.
    void StartLoggedInToOne()
    {
        StartWithCard();
        first = Open(qualified);
        second = Open(ordinary);
        ASSERT_EQ(Login(first), CKR_OK);
    }

    CK_RV LoginByKeyboard(CK_SESSION_HANDLE session) { return f->C_Login(session, CKU_USER, nullptr, 0); }

    std::size_t TimesAsked() const { return script->CallsOf("Passwords_VerifyBOK").size(); }

    static Clock::duration TimeOf(const std::function<void()>& call)
    {
        const auto begun = Clock::now();
        call();
        return Clock::now() - begun;
    }

    CK_SESSION_HANDLE first = 0;
    CK_SESSION_HANDLE second = 0;
};

TEST_F(DialogTimeTest, LoginThatAsksNobodyTakesAsLongAsAWindowNeeds)
{
    ASSERT_NO_FATAL_FAILURE(StartLoggedInToOne());
    EXPECT_GE(TimeOf([&] { EXPECT_EQ(LoginByKeyboard(second), CKR_OK); }), leastTime);
    EXPECT_GE(TimeOf([&] { EXPECT_EQ(LoginByKeyboard(second), CKR_USER_ALREADY_LOGGED_IN); }), leastTime);
    EXPECT_EQ(TimesAsked(), 1U);
}

TEST_F(DialogTimeTest, LoginThatIsRefusedWithoutADialogTakesAsLong)
{
    StartWithCard();
    const CK_SESSION_HANDLE session = Open(ordinary);
    script->Next("Passwords_VerifyBOK", {.status = eUserInputError}); // no keyboard can be opened, say
    EXPECT_GE(TimeOf([&] { EXPECT_EQ(LoginByKeyboard(session), CKR_FUNCTION_CANCELED); }), leastTime);
    EXPECT_GE(TimeOf([&] { EXPECT_EQ(LoginByKeyboard(untouched), CKR_SESSION_HANDLE_INVALID); }), leastTime);
}

TEST_F(DialogTimeTest, LoginWithACodeTakesNoLonger)
{
    ASSERT_NO_FATAL_FAILURE(StartLoggedInToOne());
    auto shortest = Clock::duration::max();
    for (int i = 0; i < attempts; ++i) {
        shortest = std::min(shortest, TimeOf([&] { static_cast<void>(Login(second)); }));
    }
    EXPECT_LT(shortest, leastTime);
}

TEST_F(DialogTimeTest, WaitHoldsUpNoOtherCall)
{
    ASSERT_NO_FATAL_FAILURE(StartLoggedInToOne());
    ASSERT_EQ(LoginByKeyboard(second), CKR_OK);
    const CK_OBJECT_HANDLE key = FindOne(second, CKO_PRIVATE_KEY);
    bool wasAnswered = false;
    for (int i = 0; i < attempts && !wasAnswered; ++i) {
        OtherThread login([this] { EXPECT_EQ(LoginByKeyboard(second), CKR_USER_ALREADY_LOGGED_IN); });
        login.WaitUntilItSleeps();
        ASSERT_EQ(DecryptInit(second, key), CKR_OK); // in the same session, and with the card
        Bytes block(128, 1);
        CK_ULONG length = Length(block);
        ASSERT_EQ(f->C_Decrypt(second, block.data(), Length(block), block.data(), &length), CKR_OK);
        wasAnswered = !login.IsDone();
    }
    EXPECT_TRUE(wasAnswered);
}

TEST_F(DialogTimeTest, FinalizeEndsTheWait)
{
    auto shortest = Clock::duration::max();
    for (int i = 0; i < attempts && shortest >= leastTime; ++i) {
        i == 0 ? StartWithCard() : Start();
        first = Open(qualified);
        second = Open(ordinary);
        ASSERT_EQ(Login(first), CKR_OK);
        Clock::duration taken{};
        OtherThread login([&] { taken = TimeOf([&] { EXPECT_EQ(LoginByKeyboard(second), CKR_OK); }); });
        login.WaitUntilItSleeps();
        ASSERT_EQ(f->C_Finalize(nullptr), CKR_OK);
        login.Join();
        shortest = std::min(shortest, taken);
    }
    EXPECT_LT(shortest, leastTime);
}

} // namespace
} // namespace front_test
