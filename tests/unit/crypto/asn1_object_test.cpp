#include "src/crypto/asn1_object.h"

#include "tests/unit/crypto/test_certificates.h"

#include <botan/exceptn.h>

#include <gtest/gtest.h>

#include <typeinfo>

namespace {

std::unique_ptr<ASN1Object> TreeOf(std::string_view hex)
{
    const auto bytes = FromHex(hex);
    const HexBinary value(bytes.data(), static_cast<int32_t>(bytes.size()), true);
    auto root = std::make_unique<ASN1Object>();
    root->Parse(&value);
    return root;
}

std::string ValueOf(const ASN1Object* node)
{
    return node == nullptr ? "no node" : node->GetValue()->ToHexString();
}

struct ClassRow
{
    const char* label;
    const char* element; // in a SEQUENCE of its own
    const std::type_info* expected;
};

class NodeClasses : public testing::TestWithParam<ClassRow>
{
};

const ClassRow classRows[] = {
    {"Sequence", "3000", &typeid(ASN1Sequence)},
    {"Set", "3100", &typeid(ASN1Set)},
    {"ApplicationConstructed16", "7000", &typeid(ASN1Sequence)},
    {"ApplicationConstructed17", "7100", &typeid(ASN1Set)},
    {"ContextConstructed16", "B000", &typeid(ASN1Sequence)},
    {"ContextConstructed17", "B100", &typeid(ASN1Set)},
    {"PrivateConstructed16", "F000", &typeid(ASN1Sequence)},
    {"ContextConstructed0", "A000", &typeid(ASN1Object)},
    {"ConstructedOctetString", "2400", &typeid(ASN1Object)},
    {"ObjectIdentifier", "06012A", &typeid(ASN1ObjectIdentifier)},
    {"Integer", "020101", &typeid(ASN1Integer)},
    {"Null", "0500", &typeid(ASN1Null)},
    {"Boolean", "0101FF", &typeid(ASN1Boolean)},
    {"OctetString", "0401AA", &typeid(ASN1OctetString)},
    {"BitString", "030200AA", &typeid(ASN1BitString)},
    {"UtcTime", "170D3234303330353038313530305A", &typeid(ASN1UTCTime)},
    {"GeneralizedTime", "180F32303234303330353038313530305A", &typeid(ASN1UTCTime)},
    {"NumericString", "120131", &typeid(ASN1NumericString)},
    {"PrintableString", "130141", &typeid(ASN1PrintableString)},
    {"Ia5String", "160141", &typeid(ASN1IA5String)},
    {"T61String", "140141", &typeid(ASN1T61String)},
    {"VisibleString", "1A0141", &typeid(ASN1VisibleString)},
    {"Utf8String", "0C0141", &typeid(ASN1UTF8String)},
    {"BmpString", "1E020041", &typeid(ASN1Object)},
    {"Enumerated", "0A0101", &typeid(ASN1Object)},
    {"PrimitiveUniversal16", "100100", &typeid(ASN1Object)},
    {"ContextPrimitive4", "840100", &typeid(ASN1Object)},
    {"ApplicationPrimitive2", "420100", &typeid(ASN1Object)},
    {"ContextPrimitive33", "9F210100", &typeid(ASN1Object)},
};

} // namespace

TEST_P(NodeClasses, AreChosenByTheTags)
{
    const auto element = FromHex(GetParam().element);
    Bytes sequence{0x30, static_cast<uint8_t>(element.size())};
    sequence.insert(sequence.end(), element.begin(), element.end());
    const HexBinary value(sequence.data(), static_cast<int32_t>(sequence.size()), true);
    ASN1Object root;
    root.Parse(&value);
    ASSERT_EQ(root.children->size(), 1U);
    const ASN1Object& child = *root.children->front();
    EXPECT_STREQ(typeid(child).name(), GetParam().expected->name());
}
INSTANTIATE_TEST_SUITE_P(All, NodeClasses, testing::ValuesIn(classRows),
                         [](const auto& row) { return row.param.label; });

TEST(Asn1Object, BeginsEmpty)
{
    const ASN1Object node;
    EXPECT_EQ(node.berObject, nullptr);
    EXPECT_EQ(node.children, nullptr);
    EXPECT_EQ(node.parent, nullptr);
}

TEST(Asn1Object, StringClassesShareABase)
{
    EXPECT_TRUE((std::is_base_of_v<ASN1String, ASN1NumericString>));
    EXPECT_TRUE((std::is_base_of_v<ASN1String, ASN1PrintableString>));
    EXPECT_TRUE((std::is_base_of_v<ASN1String, ASN1IA5String>));
    EXPECT_TRUE((std::is_base_of_v<ASN1String, ASN1T61String>));
    EXPECT_TRUE((std::is_base_of_v<ASN1String, ASN1VisibleString>));
    EXPECT_TRUE((std::is_base_of_v<ASN1String, ASN1UTF8String>));
}

TEST(Asn1Object, RootStaysAPlainNodeWhateverItHolds)
{
    const auto root = TreeOf("3003020107");
    const ASN1Object& node = *root;
    EXPECT_STREQ(typeid(node).name(), typeid(ASN1Object).name());
}

TEST(Asn1Object, PrimitiveRootHasNoChildren)
{
    const auto root = TreeOf("0402AABB");
    EXPECT_EQ(root->children, nullptr);
    EXPECT_EQ(ValueOf(root.get()), "AABB");
}

TEST(Asn1Object, EmptyConstructedRootHasAnEmptyList)
{
    const auto root = TreeOf("3000");
    ASSERT_NE(root->children, nullptr);
    EXPECT_TRUE(root->children->empty());
    EXPECT_EQ(ValueOf(root.get()), "");
}

TEST(Asn1Object, BuildsTheTreeToAnyDepth)
{
    const auto root = TreeOf("300A 3008 3106 A004 0402 BEEF");
    const ASN1Object* node = root.get();
    for (int depth = 0; depth < 4; ++depth) {
        ASSERT_NE(node->children, nullptr);
        ASSERT_EQ(node->children->size(), 1U);
        EXPECT_EQ(node->children->front()->parent, node);
        node = node->children->front().get();
    }
    EXPECT_EQ(node->children, nullptr);
    EXPECT_EQ(ValueOf(node), "BEEF");
    EXPECT_EQ(root->parent, nullptr);
}

TEST(Asn1Object, KeepsChildrenInTheirOrder)
{
    const auto root = TreeOf("3009 020101 020102 020103");
    ASSERT_EQ(root->children->size(), 3U);
    EXPECT_EQ(ValueOf((*root->children)[0].get()), "01");
    EXPECT_EQ(ValueOf((*root->children)[1].get()), "02");
    EXPECT_EQ(ValueOf((*root->children)[2].get()), "03");
}

TEST(Asn1Object, IgnoresBytesBehindTheFirstElement)
{
    const auto root = TreeOf("3003 020107 FFFFFF");
    ASSERT_EQ(root->children->size(), 1U);
    EXPECT_EQ(ValueOf(root.get()), "020107");
}

TEST(Asn1Object, BitStringKeepsItsLeadingOctetAndAnUnusedField)
{
    const auto root = TreeOf("3004 030204F0");
    const auto* bits = dynamic_cast<const ASN1BitString*>(root->children->front().get());
    ASSERT_NE(bits, nullptr);
    EXPECT_EQ(ValueOf(bits), "04F0");
    EXPECT_EQ(bits->unused, 0U);
}

TEST(Asn1Object, GetValueOfAConstructedChildIsItsContentAsItStands)
{
    // The length inside is in the long form, which an encoder would not make.
    const auto root = TreeOf("3007 3005 0481 02CAFE");
    EXPECT_EQ(ValueOf(root->children->front().get()), "048102CAFE");
}

TEST(Asn1Object, GetValueIsACopyOfTheCallers)
{
    auto root = TreeOf("0402AABB");
    const auto first = root->GetValue();
    const auto second = root->GetValue();
    EXPECT_NE(first->data, second->data);
    root = nullptr;
    EXPECT_EQ(first->ToHexString(), "AABB");
}

TEST(Asn1Object, FindChildReturnsTheFirstOfTwo)
{
    EXPECT_EQ(ValueOf(TreeOf("3006 0401AA 0401BB")->FindChild(4)), "AA");
}

TEST(Asn1Object, FindChildLooksAtDirectChildrenOnly)
{
    EXPECT_EQ(TreeOf("3005 3003 0401AA")->FindChild(4), nullptr);
    EXPECT_EQ(ValueOf(TreeOf("3008 3003 0401AA 0401BB")->FindChild(4)), "BB");
}

TEST(Asn1Object, FindChildTakesSequenceAndSetByTheirPlainNumbers)
{
    const auto root = TreeOf("300A 3003 020101 3103 020102");
    EXPECT_EQ(ValueOf(root->FindChild(16)), "020101");
    EXPECT_EQ(ValueOf(root->FindChild(48)), "020101");
    EXPECT_EQ(ValueOf(root->FindChild(17)), "020102");
    EXPECT_EQ(ValueOf(root->FindChild(49)), "020102");
}

TEST(Asn1Object, FindChildTakesOtherTagsInTheirCombinedForm)
{
    const auto root = TreeOf("300B A003 020101 8401 05 840106");
    EXPECT_EQ(ValueOf(root->FindChild(160)), "020101");
    EXPECT_EQ(ValueOf(root->FindChild(132)), "05");
    EXPECT_EQ(root->FindChild(4), nullptr);
    EXPECT_EQ(root->FindChild(0), nullptr);
}

TEST(Asn1Object, FindChildTakesTheSumOfTheTagsModulo256)
{
    // Type 252 of the context class: 252 + 128 is 124 modulo 256.
    EXPECT_EQ(ValueOf(TreeOf("3005 9F817C 0107")->FindChild(124)), "07");
}

TEST(Asn1Object, FindChildGivesNullWhenNoneFits)
{
    EXPECT_EQ(TreeOf("3003 020101")->FindChild(4), nullptr);
    EXPECT_EQ(TreeOf("3000")->FindChild(4), nullptr);
}

TEST(Asn1Object, FindChildGivesNullOnAPrimitiveElement)
{
    EXPECT_EQ(TreeOf("0401AA")->FindChild(4), nullptr);
}

TEST(Asn1Object, ParseOnAFilledNodeReplacesTheElementAndAppendsChildren)
{
    const auto root = TreeOf("3003 020101");
    const HexBinary second(std::string("31060401AA0401BB"));
    root->Parse(&second);
    EXPECT_EQ(ValueOf(root.get()), "0401AA0401BB");
    ASSERT_EQ(root->children->size(), 3U);
    EXPECT_EQ(ValueOf((*root->children)[0].get()), "01");
    EXPECT_EQ(ValueOf((*root->children)[1].get()), "AA");
    EXPECT_EQ(ValueOf((*root->children)[2].get()), "BB");
}

TEST(Asn1Object, ParseOfAPrimitiveElementOnAFilledNodeLeavesNoChildren)
{
    const auto root = TreeOf("3003 020101");
    const HexBinary second(std::string("0401AA"));
    root->Parse(&second);
    EXPECT_EQ(root->children, nullptr);
    EXPECT_EQ(ValueOf(root.get()), "AA");
}

TEST(Asn1Object, ParseBytesTakesASecureVector)
{
    ASN1Object root;
    root.ParseBytes({0x30, 0x03, 0x04, 0x01, 0x5A});
    EXPECT_EQ(ValueOf(root.FindChild(4)), "5A");
}

TEST(Asn1Object, LetsTheDecodersExceptionsThrough)
{
    EXPECT_THROW(TreeOf("3005 0401"), Botan::Decoding_Error);
    EXPECT_THROW(TreeOf("3003 0405AA"), Botan::Decoding_Error);
    EXPECT_THROW(TreeOf("30"), Botan::Decoding_Error);
    EXPECT_THROW(TreeOf("3002 30FF"), Botan::Decoding_Error);
}

TEST(Asn1Object, CanBeDestroyedAfterAFailedParse)
{
    ASN1Object root;
    const HexBinary broken(std::string("30080401AA0405AA00"));
    EXPECT_THROW(root.Parse(&broken), Botan::Decoding_Error);
    root.Destroy();
    EXPECT_EQ(root.berObject, nullptr);
    EXPECT_EQ(root.children, nullptr);
}

TEST(Asn1Object, DestroyFreesTheTree)
{
    const auto root = TreeOf("3005 3003 0401AA");
    root->Destroy();
    EXPECT_EQ(root->berObject, nullptr);
    EXPECT_EQ(root->children, nullptr);
    root->Destroy();
    const HexBinary again(std::string("3003020101"));
    root->Parse(&again);
    EXPECT_EQ(ValueOf(root->FindChild(2)), "01");
}

TEST(Asn1Object, FindsTheHashOfADigestInfoBesideTrailingData)
{
    const auto root = TreeOf("3011 300D 0609608648016503040201 0500 0400 AAAA");
    const auto* hash = root->FindChild(4);
    ASSERT_NE(hash, nullptr);
    EXPECT_EQ(hash->GetValue()->length, 0);
}
