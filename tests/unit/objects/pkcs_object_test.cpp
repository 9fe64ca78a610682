#include "src/objects/pkcs_object.h"

#include "tests/unit/log/log_capture.h"
#include "tests/unit/store/store_fixture.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace {

constexpr char filterFunction[] = "PkcsObject::FilterMatches";

struct Record
{
    CK_ATTRIBUTE_TYPE type;
    Bytes value;
};

void Set(PkcsObject& object, const std::vector<Record>& records)
{
    std::vector<CK_ATTRIBUTE> attributes;
    attributes.reserve(records.size());
    for (const auto& record : records) {
        attributes.push_back({record.type, const_cast<uint8_t*>(record.value.data()),
                              static_cast<CK_ULONG>(record.value.size())});
    }
    object.SetAttributes(attributes.data(), static_cast<CK_ULONG>(attributes.size()));
}

PkcsObject ObjectWith(const std::vector<Record>& records, uint32_t kind = privateKeyKind)
{
    PkcsObject object(kind, 0x30000001, 1);
    Set(object, records);
    return object;
}

PkcsAttributes FilterOf(const std::vector<Record>& records)
{
    PkcsAttributes filter;
    filter.reserve(records.size());
    for (const auto& record : records) {
        const HexBinary value(record.value.data(), static_cast<int32_t>(record.value.size()), true);
        filter.push_back(std::make_unique<PkcsAttribute>(record.type, &value));
    }
    return filter;
}

int32_t LengthOf(const PkcsObject& object, CK_ATTRIBUTE_TYPE type)
{
    PkcsAttribute out(type);
    EXPECT_EQ(object.GetAttribute(type, out), 0U);
    return out.value->length;
}

PkcsObject SigningKey()
{
    return ObjectWith({{0x0, NumberBytes(3)}, {0x108, {1}}, {0x102, TextBytes("Sig_EP_0")}});
}

} // namespace

TEST(PkcsObject, BeginsWithoutAttributesAndNumbers)
{
    const PkcsObject object(2, 0x70000001, 9);
    EXPECT_EQ(object.kind, 2U);
    EXPECT_EQ(object.objectHandle, 0x70000001U);
    EXPECT_EQ(object.slotId, 9U);
    EXPECT_TRUE(object.attributes.empty());
    EXPECT_EQ(object.keyReference, 0U);
    EXPECT_EQ(object.certificateIndex, 0U);
}

TEST(PkcsObject, SetAttributesKeepsTheOrderOfInsertion)
{
    auto object = ObjectWith({{0x102, {1}}, {0x3, {2}}, {0x0, {3}}});
    ASSERT_EQ(object.attributes.size(), 3U);
    EXPECT_EQ(object.attributes[0]->type, 0x102U);
    EXPECT_EQ(object.attributes[1]->type, 0x3U);
    EXPECT_EQ(object.attributes[2]->type, 0x0U);
    Set(object, {{0x1, {4}}});
    EXPECT_EQ(object.attributes[3]->type, 0x1U);
}

TEST(PkcsObject, SetAttributesKeepsTheFirstOfTwoOfOneType)
{
    const auto object = ObjectWith({{0x3, {1}}, {0x3, {2}}});
    ASSERT_EQ(object.attributes.size(), 1U);
    EXPECT_EQ(AttributeOf(object, 0x3), Bytes{1});
}

TEST(PkcsObject, SetAttributesNeverReplacesAValue)
{
    auto object = ObjectWith({{0x3, {1}}});
    Set(object, {{0x3, {2}}, {0x102, {3}}});
    EXPECT_EQ(AttributeOf(object, 0x3), Bytes{1});
    EXPECT_EQ(AttributeOf(object, 0x102), Bytes{3});
}

TEST(PkcsObject, SetAttributesTakesACountOfZero)
{
    PkcsObject object(1, 1, 1);
    object.SetAttributes(nullptr, 0);
    EXPECT_TRUE(object.attributes.empty());
}

TEST(PkcsObject, SetAttributesCopiesTheBytes)
{
    PkcsObject object(1, 1, 1);
    uint8_t bytes[] = {1, 2};
    const CK_ATTRIBUTE record{0x3, bytes, 2};
    object.SetAttributes(&record, 1);
    bytes[0] = 9;
    EXPECT_EQ(AttributeOf(object, 0x3), (Bytes{1, 2}));
}

TEST(PkcsObject, GetAttributeGivesAStoredValueOfNoBytesAsLengthZero)
{
    EXPECT_EQ(LengthOf(ObjectWith({{0x102, {}}}), 0x102), 0);
}

TEST(PkcsObject, GetAttributeGivesACopy)
{
    const auto object = ObjectWith({{0x102, {7}}});
    PkcsAttribute out(0x102);
    ASSERT_EQ(object.GetAttribute(0x102, out), 0U);
    out.value->data[0] = 8;
    EXPECT_EQ(AttributeOf(object, 0x102), Bytes{7});
}

TEST(PkcsObject, CertificateAskedForItsUrlGivesTheUnavailableValue)
{
    EXPECT_EQ(LengthOf(ObjectWith({{0x89, {1}}}, certificateKind), 0x89), -1);
}

TEST(PkcsObject, CertificateAskedForAModulusSaysInvalid)
{
    PkcsAttribute out(0x120);
    EXPECT_EQ(ObjectWith({{0x120, {1}}}, certificateKind).GetAttribute(0x120, out), 18U);
}

TEST(PkcsObject, KeyWithoutIdGivesTheUnavailableValue)
{
    EXPECT_EQ(LengthOf(ObjectWith({{0x3, {1}}}), 0x102), -1);
}

TEST(PkcsObject, SecretsOfAKeyAreUnavailableAlsoWhenTheyAreStored)
{
    EXPECT_EQ(LengthOf(ObjectWith({{0x123, {1, 2, 3}}}), 0x123), -1);
    EXPECT_EQ(LengthOf(ObjectWith({{0x123, {1, 2, 3}}}, publicKeyKind), 0x123), -1);
}

TEST(PkcsObject, SubjectIsAnsweredByACertificateOnly)
{
    EXPECT_EQ(LengthOf(ObjectWith({{0x101, {1}}}, certificateKind), 0x101), 1);
    EXPECT_EQ(LengthOf(ObjectWith({{0x101, {1}}}), 0x101), -1);
}

TEST(FilterMatches, AnEmptyFilterMatchesAnObjectWithoutAttributesAndLogsNothing)
{
    LogCapture log;
    EXPECT_TRUE(PkcsObject(1, 1, 1).FilterMatches({}));
    EXPECT_TRUE(SigningKey().FilterMatches({}));
    EXPECT_EQ(log.Text(), "");
}

TEST(FilterMatches, AnObjectWithoutAttributesMatchesNoOtherFilter)
{
    LogCapture log;
    EXPECT_FALSE(PkcsObject(1, 0x30000005, 1).FilterMatches(FilterOf({{0x0, NumberBytes(3)}})));
    EXPECT_EQ(log.Lines(), (std::vector<LoggedLine>{
                               {" DBG", "object 0x30000005 has not attributes", filterFunction, ""}}));
}

TEST(FilterMatches, AllAttributesOfTheFilterAreNeeded)
{
    const auto key = SigningKey();
    EXPECT_TRUE(key.FilterMatches(FilterOf({{0x0, NumberBytes(3)}})));
    EXPECT_TRUE(key.FilterMatches(FilterOf({{0x0, NumberBytes(3)}, {0x108, {1}}})));
    EXPECT_TRUE(key.FilterMatches(FilterOf({{0x102, TextBytes("Sig_EP_0")}, {0x0, NumberBytes(3)}})));
    EXPECT_FALSE(key.FilterMatches(FilterOf({{0x0, NumberBytes(3)}, {0x108, {0}}})));
    EXPECT_FALSE(key.FilterMatches(FilterOf({{0x0, NumberBytes(2)}, {0x108, {1}}})));
}

TEST(FilterMatches, ABooleanOfTwoBytesDoesNotMatch)
{
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x0, NumberBytes(3)}, {0x108, {1, 0}}})));
}

TEST(FilterMatches, AnotherTrueDoesNotMatch)
{
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x108, {0xFF}}})));
}

TEST(FilterMatches, ANumberInAnotherWidthOrOrderDoesNotMatch)
{
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x0, {3, 0, 0, 0, 0, 0, 0, 0}}})));
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x0, {0, 0, 0, 3}}})));
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x0, {3}}})));
}

TEST(FilterMatches, ABeginningDoesNotMatch)
{
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x102, TextBytes("Sig_EP_")}})));
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x102, TextBytes("Sig_EP_00")}})));
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x102, {}}})));
}

TEST(FilterMatches, ATypeTwiceWithDifferentValuesNeverMatches)
{
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x108, {1}}, {0x108, {0}}})));
    EXPECT_TRUE(SigningKey().FilterMatches(FilterOf({{0x108, {1}}, {0x108, {1}}})));
}

TEST(FilterMatches, ATypeThatIsOnlyUnavailableDoesNotMatch)
{
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x124, {}}})));
}

TEST(FilterMatches, AStoredAttributeIsSeenAlsoWhenItIsNeverShown)
{
    EXPECT_TRUE(ObjectWith({{0x101, {1, 2}}}).FilterMatches(FilterOf({{0x101, {1, 2}}})));
}

TEST(FilterMatches, AllValuesWithoutBytesAreEqual)
{
    const auto object = ObjectWith({{0x3, {}}});
    PkcsAttributes filter = FilterOf({{0x3, {}}});
    EXPECT_TRUE(object.FilterMatches(filter));
    filter[0]->value = MakeUnavailableValue();
    EXPECT_TRUE(object.FilterMatches(filter));
    filter[0]->value = std::make_unique<HexBinary>(0);
    EXPECT_TRUE(object.FilterMatches(filter));

    object.attributes[0]->value = MakeUnavailableValue();
    filter[0]->value = MakeEmptyValue();
    EXPECT_TRUE(object.FilterMatches(filter));
    filter[0]->value = std::make_unique<HexBinary>(std::string("00"));
    EXPECT_FALSE(object.FilterMatches(filter));
}

TEST(FilterMatches, AnAttributeWhoseValueIsNullIsIgnored)
{
    const auto object = ObjectWith({{0x3, {1}}});
    object.attributes[0]->value = nullptr;
    EXPECT_FALSE(object.FilterMatches(FilterOf({{0x3, {}}})));
}

TEST(FilterMatches, LogsAMatch)
{
    LogCapture log;
    EXPECT_TRUE(SigningKey().FilterMatches(FilterOf({{0x0, NumberBytes(3)}, {0x108, {1}}})));
    EXPECT_EQ(
        log.MessagesOf(filterFunction),
        (std::vector<std::string>{"Required attribute CKA_CLASS in object with handle 0x30000001",
                                  "Required attribute value 03000000",
                                  "Required attribute CKA_SIGN in object with handle 0x30000001",
                                  "Required attribute value 01", "Attribute: 0 found", "Attribute: 264 found",
                                  "Filter matches, all attributes found, object handle 0x30000001"}));
}

TEST(FilterMatches, LogsAnAttributeThatIsMissingAndStopsThere)
{
    LogCapture log;
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x11, {0xAB}}, {0x108, {0}}})));
    EXPECT_EQ(
        log.MessagesOf(filterFunction),
        (std::vector<std::string>{
            "Required attribute CKA_VALUE in object with handle 0x30000001", "Required attribute value AB",
            "Required attribute CKA_SIGN in object with handle 0x30000001", "Required attribute value 00",
            "Filter does not match, attribute CKA_VALUE not found in object with handle 0x30000001"}));
}

TEST(FilterMatches, LogsAnAttributeOfAnotherValueAndStopsThere)
{
    LogCapture log;
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x0, NumberBytes(3)}, {0x108, {0}}, {0x11, {1}}})));
    const auto messages = log.MessagesOf(filterFunction);
    ASSERT_EQ(messages.size(), 9U);
    EXPECT_EQ(messages[6], "Attribute: 0 found");
    EXPECT_EQ(messages[7],
              "Filter does not match, attribute CKA_SIGN found in object but values are different, "
              "object handle 0x30000001");
    EXPECT_EQ(messages[8], "Filter required template attribute value: 00");
}

TEST(FilterMatches, LogsATypeWithoutNameByItsNumber)
{
    LogCapture log;
    EXPECT_FALSE(SigningKey().FilterMatches(FilterOf({{0x124, {}}})));
    EXPECT_EQ(
        log.MessagesOf(filterFunction),
        (std::vector<std::string>{
            "Required attribute [00000124h] UNKNOWN ATTRIBUTE in object with handle 0x30000001",
            "Required attribute value ",
            "Filter does not match, attribute [00000124h] UNKNOWN ATTRIBUTE not found in object with handle "
            "0x30000001"}));
}
