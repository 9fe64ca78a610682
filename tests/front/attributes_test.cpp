#include "front/abi/attributes.h"

#include "front/abi/refusal.h"
#include "front/model/objects.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace front {
namespace {

CK_RV RefusalOf(const CK_ATTRIBUTE* records, CK_ULONG count)
{
    try {
        static_cast<void>(ReadTemplate(records, count));
    } catch (const Refusal& refusal) {
        return refusal.answer;
    }
    return CKR_OK;
}

TEST(AttributesTest, NumberGoesFromFourBytesToEight)
{
    EXPECT_EQ(WidenValue(CKA_MODULUS_BITS, {0x00, 0x08, 0, 0}), NumberValue(2048));
}

TEST(AttributesTest, UnavailableNumberKeepsItsMeaning)
{
    EXPECT_EQ(WidenValue(CKA_KEY_GEN_MECHANISM, {0xFF, 0xFF, 0xFF, 0xFF}),
              NumberValue(CK_UNAVAILABLE_INFORMATION));
}

TEST(AttributesTest, NumberOfAnotherWidthStaysAsItIs)
{
    EXPECT_EQ(WidenValue(CKA_MODULUS_BITS, {1, 2}), Bytes({1, 2}));
    EXPECT_EQ(WidenValue(CKA_MODULUS_BITS, Bytes(8, 1)), Bytes(8, 1));
    EXPECT_EQ(WidenValue(CKA_MODULUS_BITS, {}), Bytes());
}

TEST(AttributesTest, EachNumberOfAnArrayIsWidened)
{
    Bytes expected = NumberValue(1);
    const Bytes second = NumberValue(0x40);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(WidenValue(CKA_ALLOWED_MECHANISMS, {1, 0, 0, 0, 0x40, 0, 0, 0}), expected);
}

TEST(AttributesTest, AnyTrueBooleanBecomesOne)
{
    EXPECT_EQ(WidenValue(CKA_SIGN, {0xFF}), Bytes{1});
    EXPECT_EQ(WidenValue(CKA_SIGN, {0}), Bytes{0});
}

TEST(AttributesTest, EveryAttributeOfACardHasItsKind)
{
    for (const CK_ATTRIBUTE_TYPE type : {CKA_TOKEN,
                                         CKA_PRIVATE,
                                         CKA_TRUSTED,
                                         CKA_SENSITIVE,
                                         CKA_ENCRYPT,
                                         CKA_DECRYPT,
                                         CKA_WRAP,
                                         CKA_UNWRAP,
                                         CKA_SIGN,
                                         CKA_SIGN_RECOVER,
                                         CKA_VERIFY,
                                         CKA_VERIFY_RECOVER,
                                         CKA_DERIVE,
                                         CKA_EXTRACTABLE,
                                         CKA_LOCAL,
                                         CKA_NEVER_EXTRACTABLE,
                                         CKA_ALWAYS_SENSITIVE,
                                         CKA_MODIFIABLE,
                                         CKA_ALWAYS_AUTHENTICATE,
                                         CKA_SECONDARY_AUTH,
                                         CKA_WRAP_WITH_TRUSTED}) {
        EXPECT_EQ(KindOf(type), AttributeKind::boolean) << std::hex << type;
    }
    for (const CK_ATTRIBUTE_TYPE type :
         {CKA_CLASS, CKA_CERTIFICATE_TYPE, CKA_CERTIFICATE_CATEGORY, CKA_JAVA_MIDP_SECURITY_DOMAIN,
          CKA_KEY_TYPE, CKA_MODULUS_BITS, CKA_KEY_GEN_MECHANISM}) {
        EXPECT_EQ(KindOf(type), AttributeKind::number) << std::hex << type;
    }
    EXPECT_EQ(KindOf(CKA_ALLOWED_MECHANISMS), AttributeKind::numbers);
    for (const CK_ATTRIBUTE_TYPE type :
         {CKA_LABEL, CKA_VALUE, CKA_ISSUER, CKA_SUBJECT, CKA_ID, CKA_MODULUS, CKA_PUBLIC_EXPONENT,
          CKA_START_DATE, CKA_END_DATE, CKA_CHECK_VALUE, CKA_SERIAL_NUMBER, CKA_URL,
          CKA_HASH_OF_SUBJECT_PUBLIC_KEY, CKA_HASH_OF_ISSUER_PUBLIC_KEY, CKA_EC_PARAMS, CKA_EC_POINT,
          CKA_UNWRAP_TEMPLATE}) {
        EXPECT_EQ(KindOf(type), AttributeKind::bytes) << std::hex << type;
    }
}

TEST(AttributesTest, EveryAttributeOfNoCardHasItsKind)
{
    for (const CK_ATTRIBUTE_TYPE type : {CKA_RESET_ON_INIT, CKA_HAS_RESET, CKA_COLOR}) {
        EXPECT_EQ(KindOf(type), AttributeKind::boolean) << std::hex << type;
    }
    for (const CK_ATTRIBUTE_TYPE type :
         {CKA_PRIME_BITS, CKA_SUBPRIME_BITS, CKA_VALUE_BITS, CKA_VALUE_LEN, CKA_AUTH_PIN_FLAGS,
          CKA_HW_FEATURE_TYPE, CKA_PIXEL_X, CKA_PIXEL_Y, CKA_RESOLUTION, CKA_CHAR_ROWS, CKA_CHAR_COLUMNS,
          CKA_BITS_PER_PIXEL, CKA_MECHANISM_TYPE}) {
        EXPECT_EQ(KindOf(type), AttributeKind::number) << std::hex << type;
    }
    for (const CK_ATTRIBUTE_TYPE type :
         {CKA_OBJECT_ID, CKA_AC_ISSUER, CKA_OWNER, CKA_ATTR_TYPES, CKA_WRAP_TEMPLATE, CKA_CHAR_SETS,
          CKA_ENCODING_METHODS, CKA_MIME_TYPES, CKA_VENDOR_DEFINED}) {
        EXPECT_EQ(KindOf(type), AttributeKind::bytes) << std::hex << type;
    }
}

// The answer to a template of a public key with this attribute more.
CK_RV AnswerToTemplateWith(CK_ATTRIBUTE_TYPE type, const Bytes& value)
{
    Template wanted{{CKA_CLASS, NumberValue(CKO_PUBLIC_KEY)},
                    {CKA_KEY_TYPE, NumberValue(CKK_RSA)},
                    {CKA_MODULUS, Bytes(128, 0xFF)},
                    {CKA_PUBLIC_EXPONENT, {1, 0, 1}}};
    wanted.emplace_back(type, value);
    try {
        static_cast<void>(PublicKeyOf(wanted));
    } catch (const Refusal& refusal) {
        return refusal.answer;
    }
    return CKR_OK;
}

TEST(AttributesTest, TemplateOfAPublicKeyHasWhatAnApplicationMayGive)
{
    EXPECT_EQ(AnswerToTemplateWith(CKA_CLASS, NumberValue(CKO_PUBLIC_KEY)), CKR_TEMPLATE_INCONSISTENT)
        << "given twice";
    for (const CK_ATTRIBUTE_TYPE type : {CKA_TOKEN, CKA_PRIVATE, CKA_TRUSTED, CKA_ENCRYPT, CKA_WRAP,
                                         CKA_VERIFY, CKA_VERIFY_RECOVER, CKA_DERIVE, CKA_MODIFIABLE}) {
        EXPECT_EQ(AnswerToTemplateWith(type, {0}), CKR_OK) << std::hex << type;
    }
    for (const CK_ATTRIBUTE_TYPE type : {CKA_LABEL, CKA_SUBJECT, CKA_ID, CKA_START_DATE, CKA_END_DATE}) {
        EXPECT_EQ(AnswerToTemplateWith(type, {}), CKR_OK) << std::hex << type;
    }
    for (const CK_ATTRIBUTE_TYPE type : {CKA_MODULUS_BITS, CKA_LOCAL, CKA_KEY_GEN_MECHANISM}) {
        EXPECT_EQ(AnswerToTemplateWith(type, {0}), CKR_ATTRIBUTE_READ_ONLY) << std::hex << type;
    }
    for (const CK_ATTRIBUTE_TYPE type : {CKA_VALUE,
                                         CKA_CERTIFICATE_TYPE,
                                         CKA_ISSUER,
                                         CKA_SERIAL_NUMBER,
                                         CKA_CERTIFICATE_CATEGORY,
                                         CKA_JAVA_MIDP_SECURITY_DOMAIN,
                                         CKA_URL,
                                         CKA_HASH_OF_SUBJECT_PUBLIC_KEY,
                                         CKA_HASH_OF_ISSUER_PUBLIC_KEY,
                                         CKA_CHECK_VALUE,
                                         CKA_SENSITIVE,
                                         CKA_DECRYPT,
                                         CKA_UNWRAP,
                                         CKA_SIGN,
                                         CKA_SIGN_RECOVER,
                                         CKA_EXTRACTABLE,
                                         CKA_NEVER_EXTRACTABLE,
                                         CKA_ALWAYS_SENSITIVE,
                                         CKA_EC_PARAMS,
                                         CKA_EC_POINT,
                                         CKA_SECONDARY_AUTH,
                                         CKA_ALWAYS_AUTHENTICATE,
                                         CKA_WRAP_WITH_TRUSTED,
                                         CKA_UNWRAP_TEMPLATE,
                                         CKA_ALLOWED_MECHANISMS,
                                         CKA_PRIVATE_EXPONENT,
                                         CKA_COLOR,
                                         CKA_VENDOR_DEFINED}) {
        EXPECT_EQ(AnswerToTemplateWith(type, {0}), CKR_ATTRIBUTE_TYPE_INVALID) << std::hex << type;
    }
}

TEST(AttributesTest, SerialNumberIsDer)
{
    EXPECT_EQ(WidenValue(CKA_SERIAL_NUMBER, {0x12, 0x34}), Bytes({2, 2, 0x12, 0x34}));
}

TEST(AttributesTest, DerIntegerWithAHighBitGetsAZeroInFront)
{
    EXPECT_EQ(DerInteger(Bytes{0x80}), Bytes({2, 2, 0, 0x80}));
}

TEST(AttributesTest, DerIntegerIsMinimal)
{
    EXPECT_EQ(DerInteger(Bytes{0, 0, 1}), Bytes({2, 1, 1}));
    EXPECT_EQ(DerInteger(Bytes{}), Bytes({2, 1, 0}));
}

TEST(AttributesTest, DerIntegerOf200BytesHasALongLength)
{
    const Bytes encoded = DerInteger(Bytes(200, 0x11));
    EXPECT_EQ(Bytes(encoded.begin(), encoded.begin() + 3), Bytes({2, 0x81, 200}));
    EXPECT_EQ(encoded.size(), 203U);
}

TEST(AttributesTest, DerLengthIsShortUpTo127)
{
    EXPECT_EQ(DerInteger(Bytes(127, 0x11)).at(1), 127);
    const Bytes longer = DerInteger(Bytes(128, 0x11));
    EXPECT_EQ(Bytes(longer.begin(), longer.begin() + 3), Bytes({2, 0x81, 128}));
    const Bytes longest = DerInteger(Bytes(256, 0x11));
    EXPECT_EQ(Bytes(longest.begin(), longest.begin() + 4), Bytes({2, 0x82, 1, 0}));
}

TEST(AttributesTest, BooleansAreComparedAsBooleans)
{
    const Attributes own{{CKA_SIGN, {1}}, {CKA_ID, {1}}};
    EXPECT_TRUE(Match(own, {{CKA_SIGN, {0xFF}}}));
    EXPECT_FALSE(Match(own, {{CKA_SIGN, {0}}}));
    EXPECT_FALSE(Match(own, {{CKA_ID, {0xFF}}}));
}

TEST(AttributesTest, MissingAttributeMatchesNothing)
{
    EXPECT_FALSE(Match({}, {{CKA_ID, {}}}));
    EXPECT_TRUE(Match({}, {}));
}

TEST(AttributesTest, TemplateWithoutRecordsNeedsNoAddress)
{
    EXPECT_EQ(RefusalOf(nullptr, 0), CKR_OK);
    EXPECT_EQ(RefusalOf(nullptr, 1), CKR_ARGUMENTS_BAD);
}

TEST(AttributesTest, MoreRecordsThanAnyTemplateHasAreRefusedUnread)
{
    const CK_ATTRIBUTE record{CKA_ID, nullptr, 0};
    EXPECT_EQ(RefusalOf(&record, CK_UNAVAILABLE_INFORMATION), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(RefusalOf(&record, CK_UNAVAILABLE_INFORMATION / 2 + 2),
              CKR_ARGUMENTS_BAD); // whose lower half would do
}

TEST(AttributesTest, RecordWithALengthNeedsAValue)
{
    const CK_ATTRIBUTE record{CKA_ID, nullptr, 1};
    EXPECT_EQ(RefusalOf(&record, 1), CKR_ARGUMENTS_BAD);
}

TEST(AttributesTest, NumberInAnotherWidthIsRefused)
{
    std::conditional_t<sizeof(CK_ULONG) == 4, uint64_t, uint32_t> number = 3;
    const CK_ATTRIBUTE record{CKA_CLASS, &number, sizeof(number)};
    EXPECT_EQ(RefusalOf(&record, 1), CKR_ATTRIBUTE_VALUE_INVALID);
}

TEST(AttributesTest, BooleanInFourBytesIsRefused)
{
    uint32_t flag = 1;
    const CK_ATTRIBUTE record{CKA_SIGN, &flag, sizeof(flag)};
    EXPECT_EQ(RefusalOf(&record, 1), CKR_ATTRIBUTE_VALUE_INVALID);
}

TEST(AttributesTest, LengthBeyondEveryValueIsRefusedUnread)
{
    uint8_t byte = 0;
    const CK_ATTRIBUTE record{CKA_ID, &byte, CK_UNAVAILABLE_INFORMATION / 2};
    EXPECT_EQ(RefusalOf(&record, 1), CKR_ATTRIBUTE_VALUE_INVALID);
}

} // namespace
} // namespace front
