// The slots as applications see them. A slot that was shown once keeps its id and its place; its card goes
// and comes. Callers hold the lock of the front.
#pragma once

#include "native/library.h"

#include <string>
#include <vector>

namespace native {

struct Slot
{
    CK_SLOT_ID id = 0;
    std::string name; // of the reader and the key family, which is what makes it the same slot
    SlotFacts facts;  // of the card that is in, or was last
    bool present = false;
    bool loggedIn = false;
    bool changed = false; // an event that C_WaitForSlotEvent has not told yet
};

class SlotTable
{
public:
    // Takes over what is there now. `fresh` describes the slots of `present` that were not known. Returns the
    // ids of the slots whose card has gone, also when another one came at once.
    std::vector<CK_SLOT_ID> Update(const std::vector<packed::CK_SLOT_ID>& present,
                                   const std::vector<SlotFacts>& fresh);
    void ForgetEvents();

    // The slots of the library that cards are in.
    std::vector<packed::CK_SLOT_ID> InnerSlots() const;

    // Whether a slot of this card is there.
    bool HasCard(packed::CK_SLOT_ID card) const;

    // Null for an id that was never shown.
    Slot* Find(CK_SLOT_ID id);
    std::vector<Slot>& All() { return slots; }

private:
    Slot& PlaceFor(const SlotFacts& facts);

    std::vector<Slot> slots; // at the index that is their id
};

} // namespace native
