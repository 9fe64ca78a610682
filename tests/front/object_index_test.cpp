#include "front/model/object_index.h"

#include "front/model/objects.h"

#include <gtest/gtest.h>

namespace front {
namespace {

using Handles = ObjectIndex::Handles;

class ObjectIndexTest : public ::testing::Test
{
protected:
    static constexpr CK_SLOT_ID slot = 4;
    static constexpr CK_SLOT_ID otherSlot = 5;
    static constexpr CK_SESSION_HANDLE session = 7;

    static Object ObjectOf(CK_OBJECT_HANDLE handle, CK_SESSION_HANDLE owner, Attributes attributes)
    {
        Object object;
        object.handle = handle;
        object.slot = slot;
        object.owner = owner;
        object.attributes = std::move(attributes);
        return object;
    }

    ObjectIndexTest()
    {
        for (const Object* object : {&certificate, &key, &made}) {
            index.Add(*object);
        }
    }

    const Object certificate =
        ObjectOf(1, 0, {{CKA_CLASS, NumberValue(CKO_CERTIFICATE)}, {CKA_ID, {1}}, {CKA_VALUE, {9}}});
    const Object key = ObjectOf(2, 0, {{CKA_CLASS, NumberValue(CKO_PUBLIC_KEY)}, {CKA_ID, {1}}});
    const Object made = ObjectOf(3, session, {{CKA_CLASS, NumberValue(CKO_PUBLIC_KEY)}, {CKA_LABEL, {'a'}}});
    ObjectIndex index;
};

TEST_F(ObjectIndexTest, SlotHasItsObjectsAlone)
{
    EXPECT_EQ(index.OfSlot(slot), (Handles{1, 2, 3}));
    EXPECT_EQ(index.OfSlot(otherSlot), Handles());
}

TEST_F(ObjectIndexTest, OwnerIsTheCardOrASession)
{
    EXPECT_EQ(index.OfOwner(slot, 0), (Handles{1, 2}));
    EXPECT_EQ(index.OfOwner(slot, session), Handles{3});
    EXPECT_EQ(index.OfOwner(slot, session + 1), Handles());
    EXPECT_EQ(index.OfOwner(otherSlot, session), Handles());
}

TEST_F(ObjectIndexTest, CandidatesAreThoseOfTheRarestValueThatATemplateNames)
{
    const struct
    {
        Template wanted;
        Handles candidates;
    } cases[] = {
        {{}, {1, 2, 3}},
        {{{CKA_VALUE, {9}}}, {1, 2, 3}}, // which is not indexed
        {{{CKA_CLASS, NumberValue(CKO_PUBLIC_KEY)}}, {2, 3}},
        {{{CKA_CLASS, NumberValue(CKO_PUBLIC_KEY)}, {CKA_LABEL, {'a'}}}, {3}},
        {{{CKA_LABEL, {'a'}}, {CKA_CLASS, NumberValue(CKO_PUBLIC_KEY)}}, {3}},
        {{{CKA_ID, {1}}, {CKA_VALUE, {8}}}, {1, 2}},
        {{{CKA_ID, {2}}}, {}},
        {{{CKA_CLASS, NumberValue(CKO_PUBLIC_KEY)}, {CKA_ID, {1, 0}}}, {}},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(index.Candidates(slot, one.wanted), one.candidates);
        EXPECT_EQ(index.Candidates(otherSlot, one.wanted), Handles());
    }
}

TEST_F(ObjectIndexTest, RemovedObjectIsInNoList)
{
    index.Remove(made);
    index.Remove(made);
    EXPECT_EQ(index.OfSlot(slot), (Handles{1, 2}));
    EXPECT_EQ(index.OfOwner(slot, session), Handles());
    EXPECT_EQ(index.Candidates(slot, {{CKA_CLASS, NumberValue(CKO_PUBLIC_KEY)}}), Handles{2});
    EXPECT_EQ(index.Candidates(slot, {{CKA_LABEL, {'a'}}}), Handles());
}

} // namespace
} // namespace front
