// The slots as applications see them. A slot that was shown once keeps its id and its place; its card goes
// and comes.
#pragma once

#include "front/library/library.h"

#include <string>
#include <utility>
#include <vector>

namespace front {

struct Slot
{
    CK_SLOT_ID id = 0;
    std::string name; // of the reader and the key family, which is what makes it the same slot
    SlotFacts facts;  // of the card that is in, or was last
    bool present = false;
    bool described = false; // the card has been asked for its facts
};

// The ids of slots whose card has gone, also when another one came at once, and of those that got a card.
struct SlotChanges
{
    std::vector<CK_SLOT_ID> emptied;
    std::vector<CK_SLOT_ID> filled;
};

class SlotTable
{
public:
    // A slot of the library with what it shows.
    using Shown = std::pair<packed::CK_SLOT_ID, CK_SLOT_INFO>;

    // Takes over what is there now. `fresh` has the slots of `present` that were not known, in order.
    SlotChanges Update(const std::vector<packed::CK_SLOT_ID>& present, const std::vector<Shown>& fresh);
    // Takes over what a card was asked for, unless it has gone.
    void Describe(const SlotFacts& facts);
    [[nodiscard]] std::vector<SlotFacts> Undescribed(packed::CK_SLOT_ID card) const;

    // The slots of the library that cards are in.
    [[nodiscard]] std::vector<packed::CK_SLOT_ID> LibrarySlots() const;

    // Whether these are all of those, in whatever order.
    [[nodiscard]] bool HasJust(const std::vector<packed::CK_SLOT_ID>& present) const;

    // The slots of a card that is there.
    [[nodiscard]] std::vector<const Slot*> OfCard(packed::CK_SLOT_ID card) const;

    // Null for an id that was never shown.
    [[nodiscard]] const Slot* Find(CK_SLOT_ID id) const;
    [[nodiscard]] const std::vector<Slot>& All() const { return slots; }

private:
    [[nodiscard]] SlotFacts FactsOf(const Shown& shown) const;
    Slot& PlaceFor(const SlotFacts& facts);

    std::vector<Slot> slots; // at the index that is their id
};

} // namespace front
