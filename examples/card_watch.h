// Following the cards that come and go.
#pragma once

#include "pkcs11_client.h"

#include <map>
#include <string>
#include <vector>

// A card, as the two slots that stand side by side.
struct WatchedCard
{
    SlotDescription qualified;
    SlotDescription ordinary;
    std::string reader;
};

struct CardChanges
{
    std::vector<WatchedCard> inserted;
    std::vector<std::string> removed; // their readers
};

class CardWatch
{
public:
    explicit CardWatch(const Pkcs11Client& watchedClient) : client(watchedClient) {}

    // What changed since the last call; at first, every card counts as inserted. A card that was changed for
    // another between two calls is told of too, since slots are numbered anew for each insertion.
    CardChanges Look();

private:
    const Pkcs11Client& client;
    std::map<CK_SLOT_ID, std::string> known; // the reader, by the first slot of a card
};
