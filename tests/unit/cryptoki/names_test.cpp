#include "src/cryptoki/names.h"

#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <string>

namespace {

// The numbers as the standard publishes them, written down apart from the library's own.
struct NamedNumber
{
    uint32_t number;
    const char* name;
};

void PrintTo(const NamedNumber& row, std::ostream* out)
{
    *out << row.name;
}

std::string NameOfNumber(const testing::TestParamInfo<NamedNumber>& row)
{
    return row.param.name;
}

constexpr NamedNumber resultNames[] = {
    NamedNumber{0x0U, "CKR_OK"},
    NamedNumber{0x1U, "CKR_CANCEL"},
    NamedNumber{0x2U, "CKR_HOST_MEMORY"},
    NamedNumber{0x3U, "CKR_SLOT_ID_INVALID"},
    NamedNumber{0x5U, "CKR_GENERAL_ERROR"},
    NamedNumber{0x6U, "CKR_FUNCTION_FAILED"},
    NamedNumber{0x7U, "CKR_ARGUMENTS_BAD"},
    NamedNumber{0x8U, "CKR_NO_EVENT"},
    NamedNumber{0x9U, "CKR_NEED_TO_CREATE_THREADS"},
    NamedNumber{0xAU, "CKR_CANT_LOCK"},
    NamedNumber{0x10U, "CKR_ATTRIBUTE_READ_ONLY"},
    NamedNumber{0x11U, "CKR_ATTRIBUTE_SENSITIVE"},
    NamedNumber{0x12U, "CKR_ATTRIBUTE_TYPE_INVALID"},
    NamedNumber{0x13U, "CKR_ATTRIBUTE_VALUE_INVALID"},
    NamedNumber{0x20U, "CKR_DATA_INVALID"},
    NamedNumber{0x21U, "CKR_DATA_LEN_RANGE"},
    NamedNumber{0x30U, "CKR_DEVICE_ERROR"},
    NamedNumber{0x31U, "CKR_DEVICE_MEMORY"},
    NamedNumber{0x32U, "CKR_DEVICE_REMOVED"},
    NamedNumber{0x40U, "CKR_ENCRYPTED_DATA_INVALID"},
    NamedNumber{0x41U, "CKR_ENCRYPTED_DATA_LEN_RANGE"},
    NamedNumber{0x50U, "CKR_FUNCTION_CANCELED"},
    NamedNumber{0x51U, "CKR_FUNCTION_NOT_PARALLEL"},
    NamedNumber{0x54U, "CKR_FUNCTION_NOT_SUPPORTED"},
    NamedNumber{0x60U, "CKR_KEY_HANDLE_INVALID"},
    NamedNumber{0x62U, "CKR_KEY_SIZE_RANGE"},
    NamedNumber{0x63U, "CKR_KEY_TYPE_INCONSISTENT"},
    NamedNumber{0x64U, "CKR_KEY_NOT_NEEDED"},
    NamedNumber{0x65U, "CKR_KEY_CHANGED"},
    NamedNumber{0x66U, "CKR_KEY_NEEDED"},
    NamedNumber{0x67U, "CKR_KEY_INDIGESTIBLE"},
    NamedNumber{0x68U, "CKR_KEY_FUNCTION_NOT_PERMITTED"},
    NamedNumber{0x69U, "CKR_KEY_NOT_WRAPPABLE"},
    NamedNumber{0x6AU, "CKR_KEY_UNEXTRACTABLE"},
    NamedNumber{0x70U, "CKR_MECHANISM_INVALID"},
    NamedNumber{0x71U, "CKR_MECHANISM_PARAM_INVALID"},
    NamedNumber{0x82U, "CKR_OBJECT_HANDLE_INVALID"},
    NamedNumber{0x90U, "CKR_OPERATION_ACTIVE"},
    NamedNumber{0x91U, "CKR_OPERATION_NOT_INITIALIZED"},
    NamedNumber{0xA0U, "CKR_PIN_INCORRECT"},
    NamedNumber{0xA1U, "CKR_PIN_INVALID"},
    NamedNumber{0xA2U, "CKR_PIN_LEN_RANGE"},
    NamedNumber{0xA3U, "CKR_PIN_EXPIRED"},
    NamedNumber{0xA4U, "CKR_PIN_LOCKED"},
    NamedNumber{0xB0U, "CKR_SESSION_CLOSED"},
    NamedNumber{0xB1U, "CKR_SESSION_COUNT"},
    NamedNumber{0xB3U, "CKR_SESSION_HANDLE_INVALID"},
    NamedNumber{0xB4U, "CKR_SESSION_PARALLEL_NOT_SUPPORTED"},
    NamedNumber{0xB5U, "CKR_SESSION_READ_ONLY"},
    NamedNumber{0xB6U, "CKR_SESSION_EXISTS"},
    NamedNumber{0xB7U, "CKR_SESSION_READ_ONLY_EXISTS"},
    NamedNumber{0xB8U, "CKR_SESSION_READ_WRITE_SO_EXISTS"},
    NamedNumber{0xC0U, "CKR_SIGNATURE_INVALID"},
    NamedNumber{0xC1U, "CKR_SIGNATURE_LEN_RANGE"},
    NamedNumber{0xD0U, "CKR_TEMPLATE_INCOMPLETE"},
    NamedNumber{0xD1U, "CKR_TEMPLATE_INCONSISTENT"},
    NamedNumber{0xE0U, "CKR_TOKEN_NOT_PRESENT"},
    NamedNumber{0xE1U, "CKR_TOKEN_NOT_RECOGNIZED"},
    NamedNumber{0xE2U, "CKR_TOKEN_WRITE_PROTECTED"},
    NamedNumber{0xF0U, "CKR_UNWRAPPING_KEY_HANDLE_INVALID"},
    NamedNumber{0xF1U, "CKR_UNWRAPPING_KEY_SIZE_RANGE"},
    NamedNumber{0xF2U, "CKR_UNWRAPPING_KEY_TYPE_INCONSISTENT"},
    NamedNumber{0x100U, "CKR_USER_ALREADY_LOGGED_IN"},
    NamedNumber{0x101U, "CKR_USER_NOT_LOGGED_IN"},
    NamedNumber{0x102U, "CKR_USER_PIN_NOT_INITIALIZED"},
    NamedNumber{0x103U, "CKR_USER_TYPE_INVALID"},
    NamedNumber{0x104U, "CKR_USER_ANOTHER_ALREADY_LOGGED_IN"},
    NamedNumber{0x105U, "CKR_USER_TOO_MANY_TYPES"},
    NamedNumber{0x110U, "CKR_WRAPPED_KEY_INVALID"},
    NamedNumber{0x112U, "CKR_WRAPPED_KEY_LEN_RANGE"},
    NamedNumber{0x113U, "CKR_WRAPPING_KEY_HANDLE_INVALID"},
    NamedNumber{0x114U, "CKR_WRAPPING_KEY_SIZE_RANGE"},
    NamedNumber{0x115U, "CKR_WRAPPING_KEY_TYPE_INCONSISTENT"},
    NamedNumber{0x120U, "CKR_RANDOM_SEED_NOT_SUPPORTED"},
    NamedNumber{0x121U, "CKR_RANDOM_NO_RNG"},
    NamedNumber{0x130U, "CKR_DOMAIN_PARAMS_INVALID"},
    NamedNumber{0x150U, "CKR_BUFFER_TOO_SMALL"},
    NamedNumber{0x160U, "CKR_SAVED_STATE_INVALID"},
    NamedNumber{0x170U, "CKR_INFORMATION_SENSITIVE"},
    NamedNumber{0x180U, "CKR_STATE_UNSAVEABLE"},
    NamedNumber{0x190U, "CKR_CRYPTOKI_NOT_INITIALIZED"},
    NamedNumber{0x191U, "CKR_CRYPTOKI_ALREADY_INITIALIZED"},
    NamedNumber{0x1A0U, "CKR_MUTEX_BAD"},
    NamedNumber{0x1A1U, "CKR_MUTEX_NOT_LOCKED"},
    NamedNumber{0x1B0U, "CKR_NEW_PIN_MODE"},
    NamedNumber{0x1B1U, "CKR_NEXT_OTP"},
    NamedNumber{0x200U, "CKR_FUNCTION_REJECTED"},
    NamedNumber{0x80000000U, "CKR_VENDOR_DEFINED"},
};
static_assert(std::size(resultNames) == 88);

constexpr NamedNumber attributeNames[] = {
    NamedNumber{0x0U, "CKA_CLASS"},
    NamedNumber{0x1U, "CKA_TOKEN"},
    NamedNumber{0x2U, "CKA_PRIVATE"},
    NamedNumber{0x3U, "CKA_LABEL"},
    NamedNumber{0x11U, "CKA_VALUE"},
    NamedNumber{0x12U, "CKA_OBJECT_ID"},
    NamedNumber{0x80U, "CKA_CERTIFICATE_TYPE"},
    NamedNumber{0x81U, "CKA_ISSUER"},
    NamedNumber{0x82U, "CKA_SERIAL_NUMBER"},
    NamedNumber{0x83U, "CKA_AC_ISSUER"},
    NamedNumber{0x84U, "CKA_OWNER"},
    NamedNumber{0x85U, "CKA_ATTR_TYPES"},
    NamedNumber{0x86U, "CKA_TRUSTED"},
    NamedNumber{0x87U, "CKA_CERTIFICATE_CATEGORY"},
    NamedNumber{0x88U, "CKA_JAVA_MIDP_SECURITY_DOMAIN"},
    NamedNumber{0x89U, "CKA_URL"},
    NamedNumber{0x8AU, "CKA_HASH_OF_SUBJECT_PUBLIC_KEY"},
    NamedNumber{0x8BU, "CKA_HASH_OF_ISSUER_PUBLIC_KEY"},
    NamedNumber{0x90U, "CKA_CHECK_VALUE"},
    NamedNumber{0x100U, "CKA_KEY_TYPE"},
    NamedNumber{0x101U, "CKA_SUBJECT"},
    NamedNumber{0x102U, "CKA_ID"},
    NamedNumber{0x103U, "CKA_SENSITIVE"},
    NamedNumber{0x104U, "CKA_ENCRYPT"},
    NamedNumber{0x105U, "CKA_DECRYPT"},
    NamedNumber{0x106U, "CKA_WRAP"},
    NamedNumber{0x107U, "CKA_UNWRAP"},
    NamedNumber{0x108U, "CKA_SIGN"},
    NamedNumber{0x109U, "CKA_SIGN_RECOVER"},
    NamedNumber{0x10AU, "CKA_VERIFY"},
    NamedNumber{0x10BU, "CKA_VERIFY_RECOVER"},
    NamedNumber{0x10CU, "CKA_DERIVE"},
    NamedNumber{0x110U, "CKA_START_DATE"},
    NamedNumber{0x111U, "CKA_END_DATE"},
    NamedNumber{0x120U, "CKA_MODULUS"},
    NamedNumber{0x121U, "CKA_MODULUS_BITS"},
    NamedNumber{0x122U, "CKA_PUBLIC_EXPONENT"},
    NamedNumber{0x133U, "CKA_PRIME_BITS"},
    NamedNumber{0x134U, "CKA_SUBPRIME_BITS"},
    NamedNumber{0x160U, "CKA_VALUE_BITS"},
    NamedNumber{0x161U, "CKA_VALUE_LEN"},
    NamedNumber{0x162U, "CKA_EXTRACTABLE"},
    NamedNumber{0x163U, "CKA_LOCAL"},
    NamedNumber{0x164U, "CKA_NEVER_EXTRACTABLE"},
    NamedNumber{0x165U, "CKA_ALWAYS_SENSITIVE"},
    NamedNumber{0x166U, "CKA_KEY_GEN_MECHANISM"},
    NamedNumber{0x170U, "CKA_MODIFIABLE"},
    NamedNumber{0x180U, "CKA_EC_PARAMS"},
    NamedNumber{0x181U, "CKA_EC_POINT"},
    NamedNumber{0x200U, "CKA_SECONDARY_AUTH"},
    NamedNumber{0x201U, "CKA_AUTH_PIN_FLAGS"},
    NamedNumber{0x202U, "CKA_ALWAYS_AUTHENTICATE"},
    NamedNumber{0x210U, "CKA_WRAP_WITH_TRUSTED"},
    NamedNumber{0x40000211U, "CKA_WRAP_TEMPLATE"},
    NamedNumber{0x40000212U, "CKA_UNWRAP_TEMPLATE"},
    NamedNumber{0x300U, "CKA_HW_FEATURE_TYPE"},
    NamedNumber{0x301U, "CKA_RESET_ON_INIT"},
    NamedNumber{0x302U, "CKA_HAS_RESET"},
    NamedNumber{0x400U, "CKA_PIXEL_X"},
    NamedNumber{0x401U, "CKA_PIXEL_Y"},
    NamedNumber{0x402U, "CKA_RESOLUTION"},
    NamedNumber{0x403U, "CKA_CHAR_ROWS"},
    NamedNumber{0x404U, "CKA_CHAR_COLUMNS"},
    NamedNumber{0x405U, "CKA_COLOR"},
    NamedNumber{0x406U, "CKA_BITS_PER_PIXEL"},
    NamedNumber{0x480U, "CKA_CHAR_SETS"},
    NamedNumber{0x481U, "CKA_ENCODING_METHODS"},
    NamedNumber{0x482U, "CKA_MIME_TYPES"},
    NamedNumber{0x500U, "CKA_MECHANISM_TYPE"},
    NamedNumber{0x501U, "CKA_REQUIRED_CMS_ATTRIBUTES"},
    NamedNumber{0x502U, "CKA_DEFAULT_CMS_ATTRIBUTES"},
    NamedNumber{0x503U, "CKA_SUPPORTED_CMS_ATTRIBUTES"},
    NamedNumber{0x40000600U, "CKA_ALLOWED_MECHANISMS"},
    NamedNumber{0x80000000U, "CKA_VENDOR_DEFINED"},
};
static_assert(std::size(attributeNames) == 74);

template <std::size_t count>
bool IsNamed(const NamedNumber (&rows)[count], uint32_t number)
{
    for (const auto& row : rows) {
        if (row.number == number) {
            return true;
        }
    }
    return false;
}

class ResultNames : public testing::TestWithParam<NamedNumber>
{
};

class AttributeNames : public testing::TestWithParam<NamedNumber>
{
};

} // namespace

TEST_P(ResultNames, AreThoseOfTheStandard)
{
    EXPECT_STREQ(ResultName(GetParam().number), GetParam().name);
}
INSTANTIATE_TEST_SUITE_P(All, ResultNames, testing::ValuesIn(resultNames), NameOfNumber);

TEST_P(AttributeNames, AreThoseOfTheStandard)
{
    EXPECT_STREQ(AttributeName(GetParam().number), GetParam().name);
}
INSTANTIATE_TEST_SUITE_P(All, AttributeNames, testing::ValuesIn(attributeNames), NameOfNumber);

TEST(ResultName, KnowsNoOtherNumberUpToTheLastOfTheStandard)
{
    for (uint32_t number = 0; number <= 0x400; ++number) {
        if (!IsNamed(resultNames, number)) {
            char expected[64] = {};
            static_cast<void>(snprintf(expected, sizeof(expected), "[%08Xh] Unknown CKR result", number));
            ASSERT_STREQ(ResultName(number), expected);
        }
    }
}

TEST(AttributeName, KnowsNoOtherNumberUpToTheLastOfTheStandard)
{
    for (const uint32_t base : {0U, 0x40000000U}) {
        for (uint32_t number = base; number <= base + 0x800; ++number) {
            if (!IsNamed(attributeNames, number)) {
                char expected[64] = {};
                static_cast<void>(snprintf(expected, sizeof(expected), "[%08Xh] UNKNOWN ATTRIBUTE", number));
                ASSERT_STREQ(AttributeName(number), expected);
            }
        }
    }
}

TEST(ResultName, HasNoNameForFour)
{
    EXPECT_STREQ(ResultName(4), "[00000004h] Unknown CKR result");
}

TEST(ResultName, NamesOnlyTheFirstNumberOfTheVendorRange)
{
    EXPECT_STREQ(ResultName(0x80000000U), "CKR_VENDOR_DEFINED");
    EXPECT_STREQ(ResultName(0x80000001U), "[80000001h] Unknown CKR result");
    EXPECT_STREQ(ResultName(0xFFFFFFFFU), "[FFFFFFFFh] Unknown CKR result");
}

TEST(AttributeName, NamesOnlyTheFirstNumberOfTheVendorRange)
{
    EXPECT_STREQ(AttributeName(0x80000000U), "CKA_VENDOR_DEFINED");
    EXPECT_STREQ(AttributeName(0x80000001U), "[80000001h] UNKNOWN ATTRIBUTE");
}

TEST(AttributeName, HasNoNamesForTheKeyComponents)
{
    EXPECT_STREQ(AttributeName(0x123), "[00000123h] UNKNOWN ATTRIBUTE");
    EXPECT_STREQ(AttributeName(0x124), "[00000124h] UNKNOWN ATTRIBUTE");
    EXPECT_STREQ(AttributeName(0x125), "[00000125h] UNKNOWN ATTRIBUTE");
    EXPECT_STREQ(AttributeName(0x126), "[00000126h] UNKNOWN ATTRIBUTE");
    EXPECT_STREQ(AttributeName(0x127), "[00000127h] UNKNOWN ATTRIBUTE");
    EXPECT_STREQ(AttributeName(0x128), "[00000128h] UNKNOWN ATTRIBUTE");
}

TEST(ResultName, ReplacesTheTextOfAnEarlierNumberWithoutName)
{
    const char* first = ResultName(0xABCDEF);
    EXPECT_STREQ(first, "[00ABCDEFh] Unknown CKR result");
    ResultName(0x1B2);
    EXPECT_STREQ(first, "[000001B2h] Unknown CKR result");
}

TEST(CryptokiNames, ShareOneBufferForNumbersWithoutName)
{
    const char* result = ResultName(4);
    EXPECT_EQ(AttributeName(0x123), result);
    EXPECT_STREQ(result, "[00000123h] UNKNOWN ATTRIBUTE");
}

TEST(CryptokiNames, GiveConstantTextsForKnownNumbers)
{
    const char* name = ResultName(0x54);
    ResultName(4);
    AttributeName(0x128);
    EXPECT_STREQ(name, "CKR_FUNCTION_NOT_SUPPORTED");
    EXPECT_EQ(ResultName(0x54), name);
}
