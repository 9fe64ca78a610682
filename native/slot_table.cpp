#include "native/slot_table.h"

#include <algorithm>

namespace native {
namespace {

// The token's label too: a long reader name leaves no room for the family in the description.
std::string NameOf(const SlotFacts& facts)
{
    std::string name(std::begin(facts.slot.slotDescription), std::end(facts.slot.slotDescription));
    return name.append(std::begin(facts.token.label), std::end(facts.token.label));
}

} // namespace

std::vector<CK_SLOT_ID> SlotTable::Update(const std::vector<packed::CK_SLOT_ID>& present,
                                          const std::vector<SlotFacts>& fresh)
{
    std::vector<CK_SLOT_ID> emptied;
    for (Slot& slot : slots) {
        const bool stays = std::find(present.begin(), present.end(), slot.facts.inner.id) != present.end();
        if (slot.present && !stays) {
            slot.present = false;
            slot.loggedIn = false;
            slot.changed = true;
            emptied.push_back(slot.id);
        }
    }
    for (const SlotFacts& facts : fresh) {
        Slot& slot = PlaceFor(facts);
        slot.facts = facts;
        slot.present = true;
        slot.changed = true;
    }
    return emptied;
}

void SlotTable::ForgetEvents()
{
    for (Slot& slot : slots) {
        slot.changed = false;
    }
}

std::vector<packed::CK_SLOT_ID> SlotTable::InnerSlots() const
{
    std::vector<packed::CK_SLOT_ID> inner;
    for (const Slot& slot : slots) {
        if (slot.present) {
            inner.push_back(slot.facts.inner.id);
        }
    }
    return inner;
}

bool SlotTable::HasCard(packed::CK_SLOT_ID card) const
{
    return std::any_of(slots.begin(), slots.end(),
                       [card](const Slot& slot) { return slot.present && slot.facts.inner.card == card; });
}

Slot* SlotTable::Find(CK_SLOT_ID id)
{
    return id < slots.size() ? &slots[id] : nullptr;
}

Slot& SlotTable::PlaceFor(const SlotFacts& facts)
{
    const std::string name = NameOf(facts);
    const auto own = std::find_if(slots.begin(), slots.end(),
                                  [&name](const Slot& slot) { return !slot.present && slot.name == name; });
    if (own != slots.end()) {
        return *own;
    }
    Slot& added = slots.emplace_back();
    added.id = slots.size() - 1;
    added.name = name;
    return added;
}

} // namespace native
