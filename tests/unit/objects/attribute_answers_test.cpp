// What each kind of object answers for each type of attribute, seen through an object of that kind.
#include "src/objects/attribute_answers.h"

#include "src/objects/pkcs_object.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace {

using Answer = AttributeAnswer;

struct AnswerRow
{
    const char* name;
    CK_ATTRIBUTE_TYPE type;
    Answer answer;
};

void PrintTo(const AnswerRow& row, std::ostream* out)
{
    *out << row.name;
}

constexpr AnswerRow certificateRows[] = {
    {"CERTIFICATE_CATEGORY", 0x87, Answer::unavailable},
    {"JAVA_MIDP_SECURITY_DOMAIN", 0x88, Answer::unavailable},
    {"URL", 0x89, Answer::unavailable},
    {"HASH_OF_SUBJECT_PUBLIC_KEY", 0x8A, Answer::unavailable},
    {"HASH_OF_ISSUER_PUBLIC_KEY", 0x8B, Answer::unavailable},
    {"CHECK_VALUE", 0x90, Answer::unavailable},
    {"CLASS", 0x0, Answer::stored},
    {"TOKEN", 0x1, Answer::stored},
    {"VALUE", 0x11, Answer::stored},
    {"CERTIFICATE_TYPE", 0x80, Answer::stored},
    {"ISSUER", 0x81, Answer::stored},
    {"SERIAL_NUMBER", 0x82, Answer::stored},
    {"TRUSTED", 0x86, Answer::stored},
    {"SUBJECT", 0x101, Answer::stored},
    {"ID", 0x102, Answer::stored},
    {"START_DATE", 0x110, Answer::stored},
    {"END_DATE", 0x111, Answer::stored},
    {"PRIVATE", 0x2, Answer::stored},
    {"LABEL", 0x3, Answer::stored},
    {"MODIFIABLE", 0x170, Answer::stored},
    {"SECONDARY_AUTH", 0x200, Answer::stored},
    {"ALWAYS_AUTHENTICATE", 0x202, Answer::stored},
    {"MODULUS", 0x120, Answer::invalid},
    {"MODULUS_BITS", 0x121, Answer::invalid},
    {"KEY_TYPE", 0x100, Answer::invalid},
    {"SENSITIVE", 0x103, Answer::invalid},
    {"SIGN", 0x108, Answer::invalid},
    {"PRIVATE_EXPONENT", 0x123, Answer::invalid},
    {"OWNER", 0x84, Answer::invalid},
    {"AC_ISSUER", 0x83, Answer::invalid},
    {"OBJECT_ID", 0x12, Answer::invalid},
    {"UNWRAP_TEMPLATE", 0x40000212, Answer::invalid},
    {"VENDOR_DEFINED", 0x80000000, Answer::invalid},
};

constexpr AnswerRow keyRows[] = {
    {"SUBJECT", 0x101, Answer::unavailable},
    {"PRIVATE_EXPONENT", 0x123, Answer::unavailable},
    {"PRIME_1", 0x124, Answer::unavailable},
    {"PRIME_2", 0x125, Answer::unavailable},
    {"EXPONENT_1", 0x126, Answer::unavailable},
    {"EXPONENT_2", 0x127, Answer::unavailable},
    {"COEFFICIENT", 0x128, Answer::unavailable},
    {"KEY_GEN_MECHANISM", 0x166, Answer::unavailable},
    {"EC_PARAMS", 0x180, Answer::unavailable},
    {"EC_POINT", 0x181, Answer::unavailable},
    {"WRAP_WITH_TRUSTED", 0x210, Answer::unavailable},
    {"UNWRAP_TEMPLATE", 0x40000212, Answer::unavailable},
    {"CLASS", 0x0, Answer::stored},
    {"TOKEN", 0x1, Answer::stored},
    {"TRUSTED", 0x86, Answer::stored},
    {"KEY_TYPE", 0x100, Answer::stored},
    {"MODULUS", 0x120, Answer::stored},
    {"MODULUS_BITS", 0x121, Answer::stored},
    {"PUBLIC_EXPONENT", 0x122, Answer::stored},
    {"ID", 0x102, Answer::stored},
    {"SENSITIVE", 0x103, Answer::stored},
    {"ENCRYPT", 0x104, Answer::stored},
    {"DECRYPT", 0x105, Answer::stored},
    {"WRAP", 0x106, Answer::stored},
    {"UNWRAP", 0x107, Answer::stored},
    {"SIGN", 0x108, Answer::stored},
    {"SIGN_RECOVER", 0x109, Answer::stored},
    {"VERIFY", 0x10A, Answer::stored},
    {"VERIFY_RECOVER", 0x10B, Answer::stored},
    {"DERIVE", 0x10C, Answer::stored},
    {"START_DATE", 0x110, Answer::stored},
    {"END_DATE", 0x111, Answer::stored},
    {"EXTRACTABLE", 0x162, Answer::stored},
    {"LOCAL", 0x163, Answer::stored},
    {"NEVER_EXTRACTABLE", 0x164, Answer::stored},
    {"ALWAYS_SENSITIVE", 0x165, Answer::stored},
    {"ALLOWED_MECHANISMS", 0x40000600, Answer::stored},
    {"PRIVATE", 0x2, Answer::stored},
    {"LABEL", 0x3, Answer::stored},
    {"MODIFIABLE", 0x170, Answer::stored},
    {"SECONDARY_AUTH", 0x200, Answer::stored},
    {"ALWAYS_AUTHENTICATE", 0x202, Answer::stored},
    {"VALUE", 0x11, Answer::invalid},
    {"CERTIFICATE_TYPE", 0x80, Answer::invalid},
    {"ISSUER", 0x81, Answer::invalid},
    {"SERIAL_NUMBER", 0x82, Answer::invalid},
    {"URL", 0x89, Answer::invalid},
    {"CHECK_VALUE", 0x90, Answer::invalid},
    {"WRAP_TEMPLATE", 0x40000211, Answer::invalid},
    {"AUTH_PIN_FLAGS", 0x201, Answer::invalid},
    {"VALUE_LEN", 0x161, Answer::invalid},
    {"VENDOR_DEFINED", 0x80000000, Answer::invalid},
};

constexpr CK_ATTRIBUTE_TYPE untouchedType = 0x7777;

PkcsAttribute UntouchedAttribute()
{
    const HexBinary mark(std::string("5A5A"));
    return {untouchedType, &mark};
}

// What the object gives when it has the attribute, and when it has it not.
void ExpectAnswer(uint32_t kind, const AnswerRow& row)
{
    PkcsObject with(kind, 1, 1);
    uint8_t value[] = {0xAB, 0xCD};
    const CK_ATTRIBUTE record{row.type, value, sizeof(value)};
    with.SetAttributes(&record, 1);
    const PkcsObject without(kind, 1, 1);

    const PkcsObject* const objects[] = {&with, &without};
    for (const PkcsObject* object : objects) {
        PkcsAttribute out = UntouchedAttribute();
        const CK_RV result = object->GetAttribute(row.type, out);
        if (row.answer == Answer::invalid) {
            EXPECT_EQ(result, 18U);
            EXPECT_EQ(out.type, untouchedType);
            EXPECT_EQ(out.value->ToHexString(), "5A5A");
            continue;
        }
        EXPECT_EQ(result, 0U);
        EXPECT_EQ(out.type, row.type);
        if (row.answer == Answer::stored && object == &with) {
            EXPECT_EQ(out.value->ToHexString(), "ABCD");
        } else {
            EXPECT_EQ(out.value->length, -1);
            EXPECT_EQ(out.value->data, nullptr);
        }
    }
}

template <std::size_t count>
void ExpectInvalidOutside(uint32_t kind, const AnswerRow (&rows)[count])
{
    const PkcsObject object(kind, 1, 1);
    for (const uint32_t base : {0U, 0x40000000U, 0x80000000U}) {
        for (uint32_t type = base; type < base + 0x1000; ++type) {
            const bool known = std::any_of(std::begin(rows), std::end(rows),
                                           [type](const auto& row) { return row.type == type; });
            if (!known) {
                PkcsAttribute out = UntouchedAttribute();
                ASSERT_EQ(object.GetAttribute(type, out), 18U) << type;
            }
        }
    }
}

std::string NameOfAnswer(const testing::TestParamInfo<AnswerRow>& row)
{
    return row.param.name;
}

class CertificateAnswers : public testing::TestWithParam<AnswerRow>
{
};
class PrivateKeyAnswers : public testing::TestWithParam<AnswerRow>
{
};
class PublicKeyAnswers : public testing::TestWithParam<AnswerRow>
{
};

} // namespace

TEST_P(CertificateAnswers, FollowTheTable)
{
    ExpectAnswer(2, GetParam());
    EXPECT_EQ(AnswerOfCertificate(GetParam().type), GetParam().answer);
}
INSTANTIATE_TEST_SUITE_P(All, CertificateAnswers, testing::ValuesIn(certificateRows), NameOfAnswer);

TEST_P(PrivateKeyAnswers, FollowTheTable)
{
    ExpectAnswer(1, GetParam());
    EXPECT_EQ(AnswerOfKey(GetParam().type), GetParam().answer);
}
INSTANTIATE_TEST_SUITE_P(All, PrivateKeyAnswers, testing::ValuesIn(keyRows), NameOfAnswer);

TEST_P(PublicKeyAnswers, AreThoseOfAPrivateKey)
{
    ExpectAnswer(3, GetParam());
}
INSTANTIATE_TEST_SUITE_P(All, PublicKeyAnswers, testing::ValuesIn(keyRows), NameOfAnswer);

TEST(AttributeAnswers, OfACertificateAreInvalidForAllOtherTypes)
{
    ExpectInvalidOutside(2, certificateRows);
}

TEST(AttributeAnswers, OfAKeyAreInvalidForAllOtherTypes)
{
    ExpectInvalidOutside(1, keyRows);
    ExpectInvalidOutside(3, keyRows);
}

TEST(AttributeAnswers, NeverCallAnAttributeSensitive)
{
    for (const uint32_t kind : {1U, 2U, 3U}) {
        const PkcsObject object(kind, 1, 1);
        for (uint32_t type = 0; type < 0x1000; ++type) {
            PkcsAttribute out(type);
            ASSERT_NE(object.GetAttribute(type, out), 17U);
        }
    }
}

TEST(AttributeAnswers, OfAnUnknownKindAreFailures)
{
    for (const uint32_t kind : {0U, 4U, 0xFFFFFFFFU}) {
        const PkcsObject object(kind, 1, 1);
        for (const CK_ATTRIBUTE_TYPE type : {0x0U, 0x3U, 0x123U, 0x7777U}) {
            PkcsAttribute out = UntouchedAttribute();
            EXPECT_EQ(object.GetAttribute(type, out), 6U);
            EXPECT_EQ(out.value->ToHexString(), "5A5A");
        }
    }
}
