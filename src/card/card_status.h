// The statuses of the card-access library.
#pragma once

#include "src/card/card_api.h"

#include <optional>
#include <string_view>

#define CARD_STATUS(name, number) inline constexpr CardStatus name = number;
#include "src/card/statuses.inc"

// States of a code in VerifyResult.status that callers tell apart.
inline constexpr uint32_t bokNotInitialised = 1;
inline constexpr uint32_t bokLocked = 3;
inline constexpr uint32_t pinNotInitialised = 4;
inline constexpr uint32_t pinLocked = 5;

// The name of a status for the log, spelled as the card-access library spells it; empty for a value without a
// name.
const char* CardStatusName(CardStatus status);

// The status with that name, spelled the same way; none when there is no such status.
std::optional<CardStatus> CardStatusNamed(std::string_view name);
