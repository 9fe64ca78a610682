// Turns cards into records of the store.
#pragma once

#include "src/card/card_api.h"
#include "tavrik/cryptoki.h"

#include <string>

// Makes the token and the two slots of a card. With a card session, of the card on that session, which the
// token then owns; with 0, of the card in every reader, on sessions opened here. Reports nothing: a reader
// that cannot be opened is passed over.
void LoadSlotList(CardSession cardSession, const std::string& readerName);

// Reads the certificates of a slot from the card and makes its objects. A failure shows only in the log and
// in the slot having no objects.
void CreateSlotObjects(CK_SLOT_ID slotId);

// A reader's name with the low byte of each character, as the store keeps it.
std::string NarrowReaderName(const char16_t* readerName);
