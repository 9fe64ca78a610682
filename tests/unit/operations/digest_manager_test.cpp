// What C_Digest cannot reach, since it tests the operation and sets data first.
#include "src/operations/digest_manager.h"

#include "tests/unit/operations/rsa_store_fixture.h"

using DigestManagerTest = RsaStoreTest;

TEST_F(DigestManagerTest, LengthOfNoMechanismIsZeroWithAFailure)
{
    DigestManager manager;
    manager.Reset();
    uint32_t length = 77;
    EXPECT_EQ(manager.GetLength(length), CKR_MECHANISM_INVALID);
    EXPECT_EQ(length, 0U);
}

TEST_F(DigestManagerTest, ResetForgetsTheDigest)
{
    DigestManager manager;
    const CK_MECHANISM sha1{CKM_SHA_1, nullptr, 0};
    ASSERT_EQ(manager.Init(session, &sha1), CKR_OK);
    manager.SetData(Value({1}));
    manager.Reset();
    EXPECT_EQ(manager.mechanism, CKR_MECHANISM_INVALID);
    EXPECT_EQ(manager.sessionHandle, CKR_SESSION_HANDLE_INVALID);
    EXPECT_FALSE(manager.active);
    EXPECT_EQ(manager.inputData, nullptr);
}

TEST_F(DigestManagerTest, DigestWithoutDataIsRefused)
{
    DigestManager manager;
    const CK_MECHANISM sha1{CKM_SHA_1, nullptr, 0};
    ASSERT_EQ(manager.Init(session, &sha1), CKR_OK);
    LogCapture log;
    HexBinary output(20);
    EXPECT_EQ(manager.Digest(output), CKR_DATA_INVALID);
    EXPECT_EQ(log.MessagesOf("DigestManager::Digest"),
              std::vector<std::string>{Leaving("20 CKR_DATA_INVALID")});
}
