#include "front/model/objects.h"

#include <gtest/gtest.h>

#include <string>

namespace front {
namespace {

TEST(ObjectsTest, PrivateKeyGetsItsPublicKeyAndTheSubjectOfItsCertificate)
{
    const Attributes certificate{
        {CKA_CLASS, NumberValue(CKO_CERTIFICATE)}, {CKA_ID, {1}}, {CKA_SUBJECT, {0x30, 0}}};
    const Attributes key{{CKA_CLASS, NumberValue(CKO_PRIVATE_KEY)},
                         {CKA_ID, {1}},
                         {CKA_MODULUS, {5}},
                         {CKA_DECRYPT, {1}},
                         {CKA_PRIVATE, {1}}};
    const auto objects = ObjectsOfCard({{7, certificate}, {8, key}});
    ASSERT_EQ(objects.size(), 3U);
    EXPECT_EQ(objects[1].libraryHandle, 8U);
    EXPECT_EQ(objects[1].attributes.at(CKA_SUBJECT), Bytes({0x30, 0}));
    EXPECT_EQ(objects[2].libraryHandle, 0U);
    EXPECT_FALSE(objects[2].IsPrivate());
    EXPECT_TRUE(FlagOf(objects[2].attributes, CKA_ENCRYPT));
    EXPECT_EQ(objects[2].attributes.at(CKA_MODULUS), Bytes{5});
}

TEST(ObjectsTest, KeyTakesNoSubjectOfAnotherCertificate)
{
    const Attributes own{{CKA_CLASS, NumberValue(CKO_CERTIFICATE)}, {CKA_ID, {1}}, {CKA_SUBJECT, {0x30, 0}}};
    const Attributes other{
        {CKA_CLASS, NumberValue(CKO_CERTIFICATE)}, {CKA_ID, {2}}, {CKA_SUBJECT, {0x31, 0}}};
    const Attributes key{{CKA_CLASS, NumberValue(CKO_PRIVATE_KEY)}, {CKA_ID, {1}}};
    const auto objects = ObjectsOfCard({{7, own}, {8, other}, {9, key}});
    ASSERT_EQ(objects.size(), 4U);
    EXPECT_EQ(objects[2].attributes.at(CKA_SUBJECT), Bytes({0x30, 0}));
    EXPECT_EQ(objects[3].attributes.at(CKA_SUBJECT), Bytes({0x30, 0}));
}

TEST(ObjectsTest, LastCertificateWithAKeysIdIsTheKeys)
{
    const Attributes key{{CKA_CLASS, NumberValue(CKO_PRIVATE_KEY)}, {CKA_ID, {1}}, {CKA_MODULUS, {5}}};
    const auto certificate = [](uint8_t content) {
        return Attributes{{CKA_CLASS, NumberValue(CKO_CERTIFICATE)},
                          {CKA_ID, {1}},
                          {CKA_VALUE, {content}},
                          {CKA_SUBJECT, {0x30, content}}};
    };
    const auto both = ObjectsOfCard({{7, certificate(1)}, {8, certificate(2)}, {9, key}});
    const auto first = ObjectsOfCard({{7, certificate(1)}, {9, key}});
    const auto last = ObjectsOfCard({{8, certificate(2)}, {9, key}});
    ASSERT_EQ(both.size(), 4U);
    ASSERT_EQ(last.size(), 3U);
    EXPECT_EQ(both[2].attributes, last[1].attributes);
    EXPECT_EQ(both[3].attributes, last[2].attributes);
    EXPECT_NE(first[1].attributes.at(CKA_UNIQUE_ID), last[1].attributes.at(CKA_UNIQUE_ID));
}

TEST(ObjectsTest, KeyWithoutACertificateHasNoSubject)
{
    const Attributes other{
        {CKA_CLASS, NumberValue(CKO_CERTIFICATE)}, {CKA_ID, {2}}, {CKA_SUBJECT, {0x30, 0}}};
    const Attributes key{{CKA_CLASS, NumberValue(CKO_PRIVATE_KEY)}, {CKA_ID, {1}}};
    const auto objects = ObjectsOfCard({{7, other}, {8, key}});
    ASSERT_EQ(objects.size(), 3U);
    EXPECT_EQ(objects[1].attributes.at(CKA_SUBJECT), Bytes());
}

class ReplacedObjectsTest : public ::testing::Test
{
protected:
    static constexpr CK_SLOT_ID slot = 4;

    static Object Labelled(const char* label, packed::CK_OBJECT_HANDLE libraryHandle = 0)
    {
        Object object;
        object.libraryHandle = libraryHandle;
        object.attributes = {{CKA_LABEL, TextValue(label)}};
        return object;
    }

    // The labels of those with handles from the given one on, in the order of the handles.
    std::string LabelsFrom(CK_OBJECT_HANDLE least) const
    {
        std::string labels;
        for (const CK_OBJECT_HANDLE handle : objects.Search(slot, {})) {
            if (handle >= least) {
                const auto object = objects.Find(slot, handle);
                const auto label = ValueOf(object->attributes, CKA_LABEL);
                labels.append(label.begin(), label.end());
            }
        }
        return labels;
    }

    CK_OBJECT_HANDLE HandleOf(const char* label) const
    {
        const auto found = objects.Search(slot, {{CKA_LABEL, TextValue(label)}});
        return found.size() == 1 ? found.front() : 0;
    }

    Objects objects;
};

TEST_F(ReplacedObjectsTest, OnesThatAreThereAlreadyKeepTheirHandles)
{
    objects.Replace(slot, {Labelled("a", 1), Labelled("b", 2), Labelled("c")});
    ASSERT_EQ(LabelsFrom(0), "abc");
    const CK_OBJECT_HANDLE a = HandleOf("a");
    const CK_OBJECT_HANDLE c = HandleOf("c");
    objects.Replace(slot, {Labelled("d", 3), Labelled("c"), Labelled("e", 2), Labelled("a", 1)});
    EXPECT_EQ(LabelsFrom(0), "acde");
    EXPECT_EQ(HandleOf("a"), a);
    EXPECT_EQ(HandleOf("c"), c);
    EXPECT_EQ(LabelsFrom(c + 1), "de");
}

TEST_F(ReplacedObjectsTest, LibrarysHandleAndContentTellObjectsApart)
{
    objects.Replace(slot, {Labelled("a", 1), Labelled("b", 2)});
    const CK_OBJECT_HANDLE last = HandleOf("b");
    objects.Replace(slot, {Labelled("a", 2), Labelled("b", 1)});
    EXPECT_EQ(LabelsFrom(0), "ab");
    EXPECT_EQ(LabelsFrom(last + 1), "ab");
}

TEST_F(ReplacedObjectsTest, AlikeOnesAreReplacedOneByOne)
{
    objects.Replace(slot, {Labelled("a"), Labelled("a")});
    const CK_OBJECT_HANDLE last = objects.Search(slot, {}).back();
    objects.Replace(slot, {Labelled("a"), Labelled("a"), Labelled("a")});
    EXPECT_EQ(LabelsFrom(0), "aaa");
    EXPECT_EQ(LabelsFrom(last + 1), "a");
    objects.Replace(slot, {Labelled("a")});
    EXPECT_EQ(LabelsFrom(0), "a");
    EXPECT_EQ(LabelsFrom(last + 1), "");
}

} // namespace
} // namespace front
