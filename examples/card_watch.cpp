#include "card_watch.h"

namespace {

// A slot's description is the reader's name, "; " and the token's label.
std::string ReaderOf(const SlotDescription& slot)
{
    return slot.description.substr(0, slot.description.rfind("; "));
}

std::vector<WatchedCard> PresentCards(const Pkcs11Client& client)
{
    const auto slots = client.Slots();
    std::vector<WatchedCard> cards;
    for (std::size_t i = 0; i + 1 < slots.size(); ++i) {
        const std::string reader = ReaderOf(slots[i]);
        if (slots[i + 1].id == slots[i].id + 1 && ReaderOf(slots[i + 1]) == reader) {
            cards.push_back({slots[i], slots[i + 1], reader});
            ++i;
        }
    }
    return cards;
}

} // namespace

CardChanges CardWatch::Look()
{
    CardChanges changes;
    std::map<CK_SLOT_ID, std::string> present;
    for (const WatchedCard& card : PresentCards(client)) {
        present[card.qualified.id] = card.reader;
        if (!known.contains(card.qualified.id)) {
            changes.inserted.push_back(card);
        }
    }
    for (const auto& [slot, reader] : known) {
        if (!present.contains(slot)) {
            changes.removed.push_back(reader);
        }
    }
    known = std::move(present);
    return changes;
}
