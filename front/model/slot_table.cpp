#include "front/model/slot_table.h"

#include <algorithm>
#include <string_view>

namespace front {
namespace {

// A slot's description ends with one of these behind its reader's name, unless that is too long.
constexpr std::string_view qualifiedEnding = "; Sig_ZEP";
constexpr std::string_view ordinaryEnding = "; Sig_EP";

std::string DescriptionOf(const CK_SLOT_INFO& slot)
{
    std::string text(std::begin(slot.slotDescription), std::end(slot.slotDescription));
    return text.erase(text.find_last_not_of(' ') + 1);
}

// With the family of the keys, for which a long reader name leaves no room in the description.
std::string NameOf(const SlotFacts& facts)
{
    return DescriptionOf(facts.slot).append(facts.decrypts ? ordinaryEnding : qualifiedEnding);
}

} // namespace

SlotChanges SlotTable::Update(const std::vector<packed::CK_SLOT_ID>& present, const std::vector<Shown>& fresh)
{
    SlotChanges changes;
    for (Slot& slot : slots) {
        const bool isPresent =
            std::find(present.begin(), present.end(), slot.facts.librarySlot.id) != present.end();
        if (slot.present && !isPresent) {
            slot.present = false;
            changes.emptied.push_back(slot.id);
        }
    }
    for (const Shown& shown : fresh) {
        const SlotFacts facts = FactsOf(shown);
        Slot& slot = PlaceFor(facts);
        slot.facts = facts;
        slot.present = true;
        slot.described = false;
        changes.filled.push_back(slot.id);
    }
    return changes;
}

// A card's slots get their ids one after the other, the qualified one first.
SlotFacts SlotTable::FactsOf(const Shown& shown) const
{
    const auto& [id, info] = shown;
    const std::string description = DescriptionOf(info);
    const bool followsAQualifiedOne =
        std::any_of(slots.begin(), slots.end(), [before = id - 1](const Slot& slot) {
            return slot.present && slot.facts.librarySlot.id == before && !slot.facts.decrypts;
        });
    SlotFacts facts;
    facts.decrypts = description.ends_with(ordinaryEnding) ||
                     (followsAQualifiedOne && !description.ends_with(qualifiedEnding));
    facts.librarySlot = {id, facts.decrypts ? id - 1 : id};
    facts.slot = info;
    return facts;
}

void SlotTable::Describe(const SlotFacts& facts)
{
    for (Slot& slot : slots) {
        if (slot.present && slot.facts.librarySlot.id == facts.librarySlot.id) {
            slot.facts = facts;
            slot.described = true;
        }
    }
}

std::vector<SlotFacts> SlotTable::Undescribed(packed::CK_SLOT_ID card) const
{
    std::vector<SlotFacts> found;
    for (const Slot& slot : slots) {
        if (slot.present && slot.facts.librarySlot.card == card && !slot.described) {
            found.push_back(slot.facts);
        }
    }
    return found;
}

std::vector<packed::CK_SLOT_ID> SlotTable::LibrarySlots() const
{
    std::vector<packed::CK_SLOT_ID> present;
    present.reserve(slots.size());
    for (const Slot& slot : slots) {
        if (slot.present) {
            present.push_back(slot.facts.librarySlot.id);
        }
    }
    return present;
}

bool SlotTable::HasJust(const std::vector<packed::CK_SLOT_ID>& present) const
{
    std::size_t found = 0;
    for (const Slot& slot : slots) {
        if (slot.present) {
            if (std::find(present.begin(), present.end(), slot.facts.librarySlot.id) == present.end()) {
                return false;
            }
            ++found;
        }
    }
    return found == present.size();
}

std::vector<const Slot*> SlotTable::OfCard(packed::CK_SLOT_ID card) const
{
    std::vector<const Slot*> found;
    for (const Slot& slot : slots) {
        if (slot.present && slot.facts.librarySlot.card == card) {
            found.push_back(&slot);
        }
    }
    return found;
}

const Slot* SlotTable::Find(CK_SLOT_ID id) const
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
    added.id = ToUlong(slots.size() - 1);
    added.name = name;
    return added;
}

} // namespace front
