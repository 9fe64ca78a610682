// What the card's functions and its tool answer, as the tests expect it.
#pragma once

namespace softcard::test {

// Statuses of the CardAPI functions.
inline constexpr int notInitialized = 2;
inline constexpr int invalidSession = 3;
inline constexpr int insufficientBuffer = 6;
inline constexpr int internalError = 10;
inline constexpr int incorrectCode = 15;
inline constexpr int invalidCodeState = 17;
inline constexpr int userInputError = 18;
inline constexpr int unknownPrivateKey = 21;
inline constexpr int certificateNotLoaded = 24;
inline constexpr int unknownReader = 72;
inline constexpr int sharingViolation = 74;
inline constexpr int noCard = 75;
inline constexpr int notTransacted = 84;
inline constexpr int removedCard = 92;

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
