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

// Directories, zero-terminated, in at most `capacity` characters. Both work before CardAPI_Initialize.
void CardAPI_GetAppDataDir(char16_t* buffer, uint32_t capacity);
void CardAPI_GetUserDataDir(char16_t* buffer, uint32_t capacity);

// `logger` is the address of the Logger of pkcs11_x64, which begins with its LogSettings.
void CardAPI_Initialize(const void* logger);
void CardAPI_Finalize(void);

// Fills the buffer with reader names, each zero-terminated, one behind the other. Returns the number of
// 16-bit characters used, or a negative value on failure.
int32_t CardAPI_GetReaderList(char16_t* buffer, uint32_t capacity);

// Stores a non-zero session when the reader's card can be opened, and else leaves `*session` alone.
CardStatus CardAPI_OpenSession(const char16_t* readerName, CardSession* session);
CardStatus CardAPI_CloseSession(CardSession session);
CardStatus CardAPI_StartTransaction(CardSession session);
CardStatus CardAPI_StopTransaction(CardSession session);

// `text` has room for `*capacity` characters and a terminator.
CardStatus CardAPI_GetTokenInfo(CardSession session, CardTokenInfo* info, char* text, uint32_t* capacity);
CardStatus CardAPI_GetSessionFlags(CardSession session, uint32_t* flags);

// Waits up to `milliseconds` for reader events and calls the callback for each.
CardStatus CardAPI_WaitForReaderEvent(uint32_t milliseconds, ReaderCallback callback);

// The QES functions serve the slot labelled "Sig_ZEP", the ES functions the slot labelled "Sig_EP".
// `certificates` and `keys` have maxCertificates entries each and are filled in step.
CardStatus CardAPI_QES_GetCertificates(CardSession session, CardCertificate* certificates, uint32_t* count,
                                       CardKeyInfo* keys);
CardStatus CardAPI_ES_GetCertificates(CardSession session, CardCertificate* certificates, uint32_t* count,
                                      CardKeyInfo* keys);
CardStatus CardAPI_QES_GetKeyInfo(CardSession session, uint32_t zero, CardKeyInfo* key, bool yes);
CardStatus CardAPI_ES_GetKeyInfo(CardSession session, uint32_t zero, CardKeyInfo* key, bool yes);

// `*outputLength` is the capacity of `output` on the way in and the bytes used on the way out.
CardStatus CardAPI_QES_SignData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                                uint32_t* outputLength, uint32_t zero);
CardStatus CardAPI_ES_SignData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                               uint32_t* outputLength, uint32_t zero);
CardStatus CardAPI_ES_DecryptData(CardSession session, const uint8_t* data, uint32_t length, uint8_t* output,
                                  uint32_t* outputLength, uint32_t certificateIndex);

// `code` is zero-terminated, or null for entry by the user in the card side's own dialog. The last four
// arguments are constants whose meaning is the card side's own.
CardStatus CardAPI_Passwords_VerifyBOK(CardSession session, const char* code, VerifyResult* result,
                                       void* null, uint32_t fifth, uint32_t sixth, uint32_t seventh);
CardStatus CardAPI_QES_VerifyPin(CardSession session, const char* code, VerifyResult* result, void* null,
                                 uint32_t fifth, uint32_t sixth, uint32_t seventh);
}
