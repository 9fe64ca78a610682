#include "src/operations/digest_manager.h"

#include "tests/unit/operations/rsa_store_fixture.h"

namespace {

constexpr char digestFunction[] = "DigestManager::Digest";
using Messages = std::vector<std::string>;

// The stub's hash is the name of its class with the data behind it.
class DigestManagerTest : public RsaStoreTest
{
protected:
    CK_RV Init(CK_MECHANISM_TYPE type)
    {
        const CK_MECHANISM requested{type, nullptr, 0};
        return manager.Init(session, &requested);
    }

    CK_RV Digest(const Bytes& data, std::size_t room)
    {
        manager.SetData(Value(data));
        output = Value(Bytes(room, 0xEE));
        return manager.Digest(*output);
    }

    std::string Output() const { return {output->data, output->data + output->length}; }

    void ExpectReset() const
    {
        EXPECT_EQ(manager.inputData, nullptr);
        EXPECT_EQ(manager.sessionHandle, 179U);
        EXPECT_EQ(manager.mechanism, 112U);
        EXPECT_FALSE(manager.active);
    }

    DigestManager manager;
    std::unique_ptr<HexBinary> output;
};

} // namespace

TEST_F(DigestManagerTest, EachMechanismHasItsLengthAndItsClass)
{
    struct
    {
        CK_MECHANISM_TYPE type;
        uint32_t length;
        std::string name;
    } const rows[] = {{0x220, 20, "SHA-1"},
                      {0x250, 32, "SHA-256"},
                      {0x255, 28, "SHA-224"},
                      {0x260, 48, "SHA-384"},
                      {0x270, 64, "SHA-512"}};
    for (const auto& row : rows) {
        ASSERT_EQ(Init(row.type), 0U);
        EXPECT_TRUE(manager.active);
        EXPECT_EQ(manager.mechanism, row.type);
        EXPECT_EQ(manager.sessionHandle, session);
        uint32_t length = 0;
        EXPECT_EQ(manager.GetLength(length), 0U);
        EXPECT_EQ(length, row.length);
        EXPECT_EQ(Digest({'x', 'y'}, row.name.size() + 2), 0U);
        EXPECT_EQ(Output(), row.name + "xy");
    }
}

TEST_F(DigestManagerTest, OtherMechanismLeavesItInactiveAndIsLogged)
{
    ASSERT_EQ(Init(CKM_SHA_1), 0U);
    manager.SetData(Value({1}));
    LogCapture log;
    EXPECT_EQ(Init(0x210), CKR_MECHANISM_INVALID);
    EXPECT_FALSE(manager.active);
    EXPECT_EQ(manager.mechanism, 112U);
    EXPECT_EQ(manager.sessionHandle, session);
    EXPECT_EQ(manager.inputData, nullptr);
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, " ERR");
    EXPECT_EQ(lines[0].function, "DigestManager::Init");
    EXPECT_EQ(lines[0].message, Leaving("70 CKR_MECHANISM_INVALID"));
}

TEST_F(DigestManagerTest, GoodInitLogsNothing)
{
    LogCapture log;
    Init(CKM_SHA_1);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(DigestManagerTest, LengthOfNoMechanismIsZeroWithAFailure)
{
    manager.Reset();
    uint32_t length = 77;
    EXPECT_EQ(manager.GetLength(length), CKR_MECHANISM_INVALID);
    EXPECT_EQ(length, 0U);
}

TEST_F(DigestManagerTest, ResetClearsTheFieldsAndLogsNothing)
{
    ASSERT_EQ(Init(CKM_SHA_1), 0U);
    manager.SetData(Value({1}));
    LogCapture log;
    manager.Reset();
    ExpectReset();
    manager.Reset();
    ExpectReset();
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(DigestManagerTest, WithoutDataThereIsNothingToHash)
{
    ASSERT_EQ(Init(CKM_SHA_1), 0U);
    LogCapture log;
    output = Value(Bytes(20));
    EXPECT_EQ(manager.Digest(*output), CKR_DATA_INVALID);
    EXPECT_EQ(log.MessagesOf(digestFunction), Messages{Leaving("20 CKR_DATA_INVALID")});
}

TEST_F(DigestManagerTest, NoDataAreHashedToo)
{
    ASSERT_EQ(Init(CKM_SHA_1), 0U);
    EXPECT_EQ(Digest({}, 5), 0U);
    EXPECT_EQ(Output(), "SHA-1");
}

TEST_F(DigestManagerTest, ResultIsCutToTheOutputAndNoFurther)
{
    ASSERT_EQ(Init(CKM_SHA_1), 0U);
    EXPECT_EQ(Digest({'x'}, 3), 0U);
    EXPECT_EQ(Output(), "SHA");
    EXPECT_EQ(Digest({'x'}, 8), 0U);
    EXPECT_EQ(Output(), "SHA-1x\xEE\xEE");
}

TEST_F(DigestManagerTest, DigestLogsItsLeavingLineAndKeepsTheOperation)
{
    ASSERT_EQ(Init(CKM_SHA_1), 0U);
    LogCapture log;
    Digest({'x'}, 6);
    EXPECT_TRUE(manager.active);
    EXPECT_NE(manager.inputData, nullptr);
    EXPECT_EQ(log.MessagesOf(digestFunction), Messages{Leaving("0 CKR_OK")});
}
