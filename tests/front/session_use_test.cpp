#include "front/model/sessions.h"

#include "front/abi/refusal.h"

#include <gtest/gtest.h>

#include <memory>

namespace front {
namespace {

TEST(SessionUseTest, SessionThatWasClosedWhileACallWaitedForItIsNotUsed)
{
    const auto session = std::make_shared<Session>();
    session->open = false;
    try {
        const SessionUse use(session);
        FAIL() << "used all the same";
    } catch (const Refusal& refusal) {
        EXPECT_EQ(refusal.answer, CKR_SESSION_HANDLE_INVALID);
    }
    session->open = true;
    const SessionUse next(session); // would wait for ever if the refused call still held the session
}

} // namespace
} // namespace front
