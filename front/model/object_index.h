// Which objects a slot has, a session has made, or a template may mean: found without looking at the others.
#pragma once

#include "front/abi/attributes.h"

#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace front {

struct Object;

// Has no lock of its own.
class ObjectIndex
{
public:
    using Handles = std::set<CK_OBJECT_HANDLE>; // in the order in which the objects were added

    // When memory is short, nothing has changed.
    void Add(const Object& object);
    // An object that was not added does no harm. Needs no memory.
    void Remove(const Object& object);

    // What these refer to is valid until the next change.
    [[nodiscard]] const Handles& OfSlot(CK_SLOT_ID slot) const;
    // Of the objects in the slot those that the session made; of the session 0, those of the card.
    [[nodiscard]] const Handles& OfOwner(CK_SLOT_ID slot, CK_SESSION_HANDLE owner) const;
    // Objects of the slot, among them all that match the template. Few when it names a value that few objects have.
    [[nodiscard]] const Handles& Candidates(CK_SLOT_ID slot, const Template& wanted) const;

private:
    // The last is compared by its bytes, and not copied to find another.
    using Value = std::tuple<CK_SLOT_ID, CK_ATTRIBUTE_TYPE, Bytes>;

    Handles noHandles; // stays empty
    std::map<CK_SLOT_ID, Handles> bySlot;
    std::map<std::pair<CK_SLOT_ID, CK_SESSION_HANDLE>, Handles> byOwner;
    std::map<Value, Handles, std::less<>> byValue;
};

} // namespace front
