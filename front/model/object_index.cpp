#include "front/model/object_index.h"

#include "front/model/objects.h"

#include <algorithm>
#include <array>

namespace front {
namespace {

// What applications look for. All of them are compared byte by byte, as the index does.
constexpr std::array indexedTypes = {CKA_CLASS, CKA_ID, CKA_LABEL};

template <typename Lists, typename Key>
const ObjectIndex::Handles& Listed(const Lists& lists, const Key& key, const ObjectIndex::Handles& otherwise)
{
    const auto found = lists.find(key);
    return found == lists.end() ? otherwise : found->second;
}

template <typename Lists, typename Key>
void RemoveListed(Lists& lists, const Key& key, CK_OBJECT_HANDLE handle)
{
    const auto found = lists.find(key);
    if (found == lists.end()) {
        return;
    }
    found->second.erase(handle);
    if (found->second.empty()) {
        lists.erase(found);
    }
}

} // namespace

void ObjectIndex::Add(const Object& object)
{
    try {
        bySlot[object.slot].insert(object.handle);
        byOwner[{object.slot, object.owner}].insert(object.handle);
        for (const CK_ATTRIBUTE_TYPE type : indexedTypes) {
            const auto value = object.attributes.find(type);
            if (value != object.attributes.end()) {
                byValue[{object.slot, type, value->second}].insert(object.handle);
            }
        }
    } catch (...) {
        Remove(object);
        throw;
    }
}

void ObjectIndex::Remove(const Object& object)
{
    RemoveListed(bySlot, object.slot, object.handle);
    RemoveListed(byOwner, std::pair(object.slot, object.owner), object.handle);
    for (const CK_ATTRIBUTE_TYPE type : indexedTypes) {
        const auto value = object.attributes.find(type);
        if (value != object.attributes.end()) {
            RemoveListed(byValue, std::tie(object.slot, type, value->second), object.handle);
        }
    }
}

const ObjectIndex::Handles& ObjectIndex::OfSlot(CK_SLOT_ID slot) const
{
    return Listed(bySlot, slot, noHandles);
}

const ObjectIndex::Handles& ObjectIndex::OfOwner(CK_SLOT_ID slot, CK_SESSION_HANDLE owner) const
{
    return Listed(byOwner, std::pair(slot, owner), noHandles);
}

const ObjectIndex::Handles& ObjectIndex::Candidates(CK_SLOT_ID slot, const Template& wanted) const
{
    const Handles* fewest = &OfSlot(slot);
    for (const auto& [type, value] : wanted) {
        if (std::find(indexedTypes.begin(), indexedTypes.end(), type) != indexedTypes.end()) {
            const Handles& having = Listed(byValue, std::tie(slot, type, value), noHandles);
            fewest = having.size() < fewest->size() ? &having : fewest;
        }
    }
    return *fewest;
}

} // namespace front
