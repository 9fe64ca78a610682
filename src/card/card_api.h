// The boundary to the card-access library: its functions, records and statuses, exactly as they cross it.
//
// The functions are called by these names everywhere. Inside pkcs11_x64 they are bound at the first call (see
// card_binding.cpp); each can then throw std::runtime_error when the card-access library or the function is
// missing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using CardSession = uint64_t; // opaque, not zero when valid
using CardStatus = int32_t;   // 0 for success, see card_status.h

// Called during CardAPI_WaitForReaderEvent, once for each event, on a thread of the card side's choice.
// `readerName` ends with a zero character; `status` points to what went wrong with the event, 0 for nothing.
using ReaderCallback = void (*)(uint32_t event, const char16_t* readerName, CardSession session,
                                const CardStatus* status);

inline constexpr uint32_t cardInsertedEvent = 3;
inline constexpr uint32_t cardRemovedEvent = 4;

// Bits of CardAPI_GetSessionFlags.
inline constexpr uint32_t cardPresentFlag = 1;
inline constexpr uint32_t secureMessagingFlag = 4;

// The most certificates that one key family of a card holds, and so the length of the arrays below.
inline constexpr uint32_t maxCertificates = 8;

// All integers are little-endian. Members named `unread` belong to the card side; pkcs11_x64 never looks at
// them.

struct CardTokenInfo
{
    uint8_t unread0[16];
    uint8_t versions[4]; // hardware major, hardware minor, firmware major, firmware minor
    uint8_t unread20[16];
    char manufacturer[32]; // zero-terminated when shorter
    uint8_t unread68[32];
    char model[16]; // zero-terminated when shorter
    uint8_t unread116[52];
};
static_assert(sizeof(CardTokenInfo) == 168);

struct CardKeyInfo
{
    uint32_t keyReference;         // 1 to 4 RSA, 5 and 6 elliptic curves, 0 for a record that is not filled
    uint32_t modulusBits;          // key size in bits
    uint8_t modulus[1024];         // from the card: least significant byte first
    uint64_t modulusLength;        // valid bytes in `modulus`
    uint8_t publicExponent[8];     // as it goes into CKA_PUBLIC_EXPONENT
    uint64_t publicExponentLength; // valid bytes in `publicExponent`
};
static_assert(sizeof(CardKeyInfo) == 1056);

struct CardCertificate
{
    uint32_t length; // valid bytes in `data`
    uint8_t data[4096];
};
static_assert(sizeof(CardCertificate) == 4100);

struct VerifyResult
{
    uint32_t status;  // state of the code after the attempt
    int32_t unread4;  // -1 on the way in
    uint8_t verified; // 1 when the code was accepted
    uint8_t unread9[39];
};
static_assert(sizeof(VerifyResult) == 48);

extern "C" {
#define CARD_FUNCTION(type, name, parameters, arguments, fault) type CardAPI_##name parameters;
#include "src/card/functions.inc"
}
