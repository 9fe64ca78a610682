#include "tavrik/cryptoki.h"

#include <gtest/gtest.h>

#include <cstddef>

TEST(CryptokiRecords, ArePackedToBytes)
{
    EXPECT_EQ(sizeof(CK_ULONG), 4U);
    EXPECT_EQ(sizeof(CK_INFO), 72U);
    EXPECT_EQ(sizeof(CK_SLOT_INFO), 104U);
    EXPECT_EQ(sizeof(CK_TOKEN_INFO), 160U);
    EXPECT_EQ(sizeof(CK_SESSION_INFO), 16U);
    EXPECT_EQ(sizeof(CK_ATTRIBUTE), 16U);
    EXPECT_EQ(sizeof(CK_MECHANISM), 16U);
    EXPECT_EQ(sizeof(CK_MECHANISM_INFO), 12U);
    EXPECT_EQ(sizeof(CK_C_INITIALIZE_ARGS), 44U);
    EXPECT_EQ(sizeof(CK_FUNCTION_LIST), 546U);
}

TEST(CryptokiRecords, HaveTheirFieldsAtTheirOffsets)
{
    EXPECT_EQ(offsetof(CK_INFO, flags), 34U);
    EXPECT_EQ(offsetof(CK_ATTRIBUTE, pValue), 4U);
    EXPECT_EQ(offsetof(CK_ATTRIBUTE, ulValueLen), 12U);
    EXPECT_EQ(offsetof(CK_C_INITIALIZE_ARGS, CreateMutex), 0U);
    EXPECT_EQ(offsetof(CK_C_INITIALIZE_ARGS, flags), 32U);
    EXPECT_EQ(offsetof(CK_C_INITIALIZE_ARGS, pReserved), 36U);
    EXPECT_EQ(offsetof(CK_FUNCTION_LIST, C_Initialize), 2U);
    EXPECT_EQ(offsetof(CK_FUNCTION_LIST, C_WaitForSlotEvent), 538U);
}
