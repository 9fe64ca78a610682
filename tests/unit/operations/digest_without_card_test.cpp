#include "src/operations/digest_manager.h"

#include "tests/unit/log/log_capture.h"

#include <gtest/gtest.h>

#include <stdexcept>

// In a process without a card-access library.
TEST(DigestWithoutCard, ThrowsWhatTheBindingThrows)
{
    DigestManager manager;
    const CK_MECHANISM mechanism{CKM_SHA256, nullptr, 0};
    ASSERT_EQ(manager.Init(1, &mechanism), CKR_OK);
    manager.SetData(std::make_unique<HexBinary>("00"));
    HexBinary output(32);
    LogCapture log;
    EXPECT_THROW(manager.Digest(output), std::runtime_error);
    EXPECT_TRUE(log.MessagesOf("DigestManager::Digest").empty());
}
