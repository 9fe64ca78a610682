// The verification of the card's two codes, and what its outcome means to the application.
#pragma once

#include "src/card/card_api.h"
#include "tavrik/cryptoki.h"

// A record as the card side wants it before a verification.
VerifyResult MakeVerifyResult();

// Have the card verify a code, the login code or the signature PIN. With a null `code` the card side asks the
// user.
CardStatus VerifyLoginCode(CardSession session, const char* code, VerifyResult& result);
CardStatus VerifySignaturePin(CardSession session, const char* code, VerifyResult& result);

// What the outcome of a verification gives at login; CKR_OK when the code was accepted.
CK_RV JudgeLogin(CardStatus status, const VerifyResult& result);

// Has the card side ask the user for the signature PIN, again after each wrong one, and returns what the outcome gives
// at a signature; CKR_OK when the PIN was accepted. Logged under C_Sign.
CK_RV AskForSignaturePin(CardSession session);
