// The statuses of the card-access library.
#pragma once

#include "card/card_api.h"

inline constexpr CardStatus eStatusOk = 0;
inline constexpr CardStatus eIncorrectCode = 15;
inline constexpr CardStatus eInvalidCodeState = 17;
inline constexpr CardStatus eUserInputError = 18;

// States of a code in VerifyResult.status that callers tell apart.
inline constexpr uint32_t bokNotInitialised = 1;
inline constexpr uint32_t bokLocked = 3;
inline constexpr uint32_t pinNotInitialised = 4;
inline constexpr uint32_t pinLocked = 5;

// The name of a status for the log, spelled as the card-access library spells it; empty for a value without a
// name.
const char* CardStatusName(CardStatus status);
