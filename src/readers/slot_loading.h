// Turns cards into records of the store, and ends what those records hold of them.
#pragma once

#include "src/card/card_api.h"
#include "src/store/card_token.h"

#include <memory>
#include <string>
#include <vector>

// A card session that no token owns yet. It is closed with this, unless it has been released; what the card side throws
// then is lost.
class UnownedCardSession
{
public:
    explicit UnownedCardSession(CardSession open);
    ~UnownedCardSession();
    UnownedCardSession(const UnownedCardSession&) = delete;
    UnownedCardSession& operator=(const UnownedCardSession&) = delete;

    CardSession Release();

private:
    CardSession session; // 0 when there is none
};

// Makes the token and the two slots of a card. With a card session, of the card on that session, which the
// token then owns; with 0, of the card in every reader, on sessions opened here. Reports nothing: a reader
// that cannot be opened is passed over.
void LoadSlotList(CardSession cardSession, const std::string& readerName);

// Ends the card sessions of tokens that are no longer in the store. The session of a token that a call still uses ends
// when that call ends. Throws what the card side throws when all have been tried: the first of it when there is
// more.
void EndCardSessions(std::vector<std::shared_ptr<CardToken>> tokens);

// A reader's name with the low byte of each character, as the store keeps it.
std::string NarrowReaderName(const char16_t* readerName);
