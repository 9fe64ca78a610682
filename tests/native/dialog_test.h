#pragma once

#include "front_test.h"
#include "test_certificates.h"

#include <atomic>
#include <semaphore>
#include <thread>

namespace FrontTests {

// A login that stands in the dialog of its card, in a thread of its own, until the test lets it go on.
class DialogTest : public FrontTest
{
protected:
    void StartWithDialogInFirstCard()
    {
        script->AddReader(readerA, BlackBox::CertifiedCard());
        script->AddReader(readerB, BlackBox::CertifiedCard());
        Start();
        first = Open(0);
        second = Open(3);
        ASSERT_EQ(Login(second), CKR_OK);
        script->Next("Passwords_VerifyBOK", {.hook = [this] {
                         opened.release();
                         closed.acquire();
                     }});
        login = std::thread([this] {
            answer = f->C_Login(first, CKU_USER, nullptr, 0);
            ended = true;
        });
        opened.acquire();
    }

    void EndDialog()
    {
        EXPECT_FALSE(ended) << "the dialog has ended";
        closed.release();
        login.join();
        EXPECT_EQ(answer, CKR_OK);
    }

    CK_SESSION_HANDLE first = 0;
    CK_SESSION_HANDLE second = 0;

private:
    // No futures: Botan, which is not instrumented, would share their code with this program under a
    // sanitizer.
    std::binary_semaphore opened{0};
    std::binary_semaphore closed{0};
    std::thread login;
    std::atomic<bool> ended{false};
    CK_RV answer = CKR_GENERAL_ERROR;
};

} // namespace FrontTests
