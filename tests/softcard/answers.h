// The statuses of the card's functions and the exit codes of its tool.
#pragma once

#include "src/card/card_status.h"

namespace softcard::test {

// Exit codes of tavrik-card.
inline constexpr int exitBadArguments = 2;
inline constexpr int exitUnknownCard = 3;
inline constexpr int exitNameTaken = 4;
inline constexpr int exitAlreadyInserted = 5;
inline constexpr int exitReaderOccupied = 6;
inline constexpr int exitNotInserted = 7;
inline constexpr int exitWrongCode = 8;
inline constexpr int exitCodeUnusable = 9;
inline constexpr int exitNotImportable = 10;
inline constexpr int exitUnknownReader = 11;
inline constexpr int exitCardBusy = 12;

} // namespace softcard::test
