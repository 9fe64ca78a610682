#include "src/operations/rsa_operation.h"

#include "tests/unit/operations/rsa_store_fixture.h"

namespace {

constexpr RsaOperationKind kind = {"Some::Init", "found", CKA_VERIFY, "permitted", "not permitted", false};
constexpr RsaOperationKind keepingKind = {"Some::Init", "found",         CKA_VERIFY,
                                          "permitted",  "not permitted", true};
using Messages = std::vector<std::string>;

class RsaOperationTest : public RsaStoreTest
{
protected:
    CK_RV Begin(CK_OBJECT_HANDLE keyHandle, const RsaOperationKind& ownKind = kind)
    {
        return operation.Begin(ownKind, session, &mechanism, keyHandle);
    }

    CK_RV Length(uint32_t& length) const
    {
        return operation.GetModulusLength("Some::Length", "line", length);
    }

    const CK_OBJECT_HANDLE key = AddKey(Bytes(16, 0x81), {3});
    RsaOperation operation;
};

} // namespace

TEST_F(RsaOperationTest, BeginsWithAKeyThatIsPermitted)
{
    LogCapture log;
    EXPECT_EQ(Begin(key), 0U);
    EXPECT_TRUE(operation.active);
    EXPECT_EQ(operation.mechanism, 1U);
    EXPECT_EQ(operation.sessionHandle, session);
    EXPECT_EQ(operation.keyObject->objectHandle, key);
    EXPECT_EQ(log.MessagesOf("Some::Init"), (Messages{"found", "permitted"}));
}

TEST_F(RsaOperationTest, OtherMechanismLeavesItInactive)
{
    ASSERT_EQ(Begin(key), 0U);
    LogCapture log;
    const CK_MECHANISM other{CKM_SHA256_RSA_PKCS, nullptr, 0};
    EXPECT_EQ(operation.Begin(kind, session, &other, key), CKR_MECHANISM_INVALID);
    EXPECT_FALSE(operation.active);
    EXPECT_EQ(operation.mechanism, CKR_MECHANISM_INVALID);
    EXPECT_EQ(operation.sessionHandle, session);
    EXPECT_EQ(operation.keyObject, nullptr);
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, " ERR");
    EXPECT_EQ(lines[0].message, Leaving("70 CKR_MECHANISM_INVALID"));
}

TEST_F(RsaOperationTest, ParameterLeavesItInactive)
{
    uint8_t byte = 0;
    for (const CK_MECHANISM& other :
         {CK_MECHANISM{CKM_RSA_PKCS, &byte, 0}, CK_MECHANISM{CKM_RSA_PKCS, nullptr, 1}}) {
        EXPECT_EQ(operation.Begin(kind, session, &other, key), CKR_MECHANISM_PARAM_INVALID);
        EXPECT_FALSE(operation.active);
        EXPECT_EQ(operation.mechanism, CKR_MECHANISM_INVALID);
    }
}

TEST_F(RsaOperationTest, UnknownKeyLeavesItActiveWithoutAKey)
{
    ASSERT_EQ(Begin(key), 0U);
    EXPECT_EQ(Begin(99), CKR_KEY_HANDLE_INVALID);
    EXPECT_TRUE(operation.active);
    EXPECT_EQ(operation.mechanism, 1U);
    EXPECT_EQ(operation.keyObject, nullptr) << "not the one of before";
}

TEST_F(RsaOperationTest, KeyWithoutPermissionIsKeptOnlyByAKindThatSaysSo)
{
    RemoveAttribute(ObjectOf(key), CKA_VERIFY);
    LogCapture log;
    EXPECT_EQ(Begin(key), CKR_KEY_FUNCTION_NOT_PERMITTED);
    EXPECT_TRUE(operation.active);
    EXPECT_EQ(operation.keyObject, nullptr);
    EXPECT_EQ(Begin(key, keepingKind), CKR_KEY_FUNCTION_NOT_PERMITTED);
    EXPECT_TRUE(operation.active);
    EXPECT_EQ(operation.keyObject->objectHandle, key);
    const std::string leaving = Leaving("68 CKR_KEY_FUNCTION_NOT_PERMITTED");
    EXPECT_EQ(log.MessagesOf("Some::Init"),
              (Messages{"found", "not permitted", leaving, "found", "not permitted", leaving}));
}

TEST_F(RsaOperationTest, EmptyPermissionIsNone)
{
    SetAttribute(ObjectOf(key), CKA_VERIFY, {});
    EXPECT_EQ(Begin(key), CKR_KEY_FUNCTION_NOT_PERMITTED);
    SetAttribute(ObjectOf(key), CKA_VERIFY, {0});
    EXPECT_EQ(Begin(key), CKR_OK) << "a false passes";
}

TEST_F(RsaOperationTest, KeyOutlivesItsPlaceInTheStore)
{
    ASSERT_EQ(Begin(key), 0U);
    Cache().RemoveCardToken("Reader");
    EXPECT_EQ(Cache().GetObject(key), nullptr);
    uint32_t length = 0;
    EXPECT_EQ(Length(length), 0U);
    EXPECT_EQ(length, 16U);
}

TEST_F(RsaOperationTest, ModulusLengthIsAnEighthOfTheBits)
{
    ASSERT_EQ(Begin(key), 0U);
    struct
    {
        Bytes bits;
        uint32_t length;
    } const rows[] = {{{0x00, 0x08, 0, 0}, 256},    {{0x07}, 0}, {{0x08}, 1},
                      {{0xFF, 0xFF}, 8191},         {{0x0F}, 1}, {{0x00, 0x08, 0, 0, 0xFF, 0xFF}, 256},
                      {{0, 0, 0, 0x80}, 0x10000000}};
    for (const auto& row : rows) {
        SetAttribute(ObjectOf(key), CKA_MODULUS_BITS, row.bits);
        uint32_t length = 77;
        EXPECT_EQ(Length(length), 0U);
        EXPECT_EQ(length, row.length);
    }
}

TEST_F(RsaOperationTest, ModulusLengthIsZeroWithEachFailure)
{
    uint32_t length = 77;
    EXPECT_EQ(Length(length), CKR_FUNCTION_FAILED) << "no key";
    EXPECT_EQ(length, 0U);
    ASSERT_EQ(Begin(key), 0U);
    operation.mechanism = CKR_MECHANISM_INVALID; // stands for none
    length = 77;
    EXPECT_EQ(Length(length), CKR_MECHANISM_INVALID);
    EXPECT_EQ(length, 0U);
    SetAttribute(ObjectOf(key), CKA_MODULUS_BITS, {});
    length = 77;
    EXPECT_EQ(Length(length), CKR_FUNCTION_FAILED) << "before the mechanism";
    EXPECT_EQ(length, 0U);
    RemoveAttribute(ObjectOf(key), CKA_MODULUS_BITS);
    EXPECT_EQ(Length(length), CKR_FUNCTION_FAILED);
}

TEST_F(RsaOperationTest, ModulusLengthLogsItsLineFirst)
{
    LogCapture log;
    uint32_t length = 0;
    Length(length);
    EXPECT_EQ(log.MessagesOf("Some::Length"), Messages{"line"});
}
