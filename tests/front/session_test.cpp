#include "front/model/front.h"

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
    EXPECT_TRUE(session->use.try_lock()) << "the next call may have its turn";
    session->use.unlock();
}

} // namespace
} // namespace front
