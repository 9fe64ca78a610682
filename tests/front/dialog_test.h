// Calls that stand in the dialog of a card, in a thread of their own, until the test lets them go on.
#pragma once

#include "tests/front/front_test.h"
#include "tests/front/signal.h"
#include "tests/support/test_certificates.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

namespace front_test {

class DialogTest : public FrontTest
{
protected:
    // Two cards, with a session in the first slot of the first card, and a logged-in one in the last slot.
    void StartWithTwoSessions()
    {
        StartWithTwoCards();
        first = Open(0);
        second = Open(3);
        ASSERT_EQ(Login(second), CKR_OK);
    }

    // Makes the call, and returns once it is inside this function of the card.
    void OpenDialog(const char* function, std::function<CK_RV()> call)
    {
        script->Next(function, {.hook = [this] {
                         opened.Raise();
                         closed.Await();
                     }});
        ended = false;
        inDialog = std::thread([this, made = std::move(call)] {
            answer = made();
            ended = true;
        });
        opened.Await();
    }

    void StartWithDialogInFirstCard()
    {
        StartWithTwoSessions();
        OpenDialog("Passwords_VerifyBOK", [this] { return f->C_Login(first, CKU_USER, nullptr, 0); });
    }

    // Makes the call in a thread of its own, and tells whether it was answered while the dialog is open. The
    // end of the dialog waits for it.
    bool IsAnsweredMeanwhile(std::function<void()> call)
    {
        meanwhile.emplace_back([this, made = std::move(call)] {
            made();
            answered.Raise();
        });
        return answered.AwaitFor(std::chrono::seconds(60));
    }

    void EndDialog()
    {
        EXPECT_FALSE(ended) << "the dialog has ended";
        closed.Raise();
        inDialog.join();
        for (std::thread& thread : meanwhile) {
            thread.join();
        }
        meanwhile.clear();
        EXPECT_EQ(answer, CKR_OK);
    }

    // For a C_Finalize in another thread.
    void WaitUntilTheEndHasBegun()
    {
        CK_INFO info{};
        while (f->C_GetInfo(&info) != CKR_CRYPTOKI_NOT_INITIALIZED) {
            std::this_thread::yield();
        }
    }

    CK_SESSION_HANDLE first = 0;
    CK_SESSION_HANDLE second = 0;

private:
    // No futures: Botan, which is not instrumented, would share their code with this program under a
    // sanitizer.
    Signal opened;
    Signal closed;
    Signal answered;
    std::thread inDialog;
    std::vector<std::thread> meanwhile;
    std::atomic<bool> ended{false};
    CK_RV answer = CKR_GENERAL_ERROR;
};

} // namespace front_test
