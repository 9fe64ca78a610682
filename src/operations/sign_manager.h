// The signature that a session makes.
#pragma once

#include "tavrik/cryptoki.h"
#include "tavrik/hex_binary.h"

#include <memory>
#include <vector>

// The key is kept by its handle alone and looked up again when it signs: the card can be removed while a dialog
// is open.
struct SignManager
{
    // Begins a signature with this key. CKR_KEY_HANDLE_INVALID, CKR_MECHANISM_INVALID or
    // CKR_KEY_FUNCTION_NOT_PERMITTED leave it inactive.
    CK_RV Init(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key, const CK_MECHANISM* requested);

    void SetData(std::unique_ptr<HexBinary> data);

    // Has the card sign the data, or the hash out of the DigestInfo that the data is, as the key decides. On
    // CKR_OK `signature` holds the signature. Every failure is logged under this function's name.
    CK_RV Sign(std::unique_ptr<HexBinary>& signature);

    // Back to inactive. The authorisation of the next signature stays.
    void Reset();

    std::unique_ptr<HexBinary> dataToSign;
    bool active = false;
    uint32_t modulusBits = 0;
    bool alwaysAuthenticate = false; // read by nothing
    bool canSign = false;
    CK_MECHANISM_TYPE mechanism = 0; // read by nothing: the key decides what is signed
    bool isLogged = false;           // the signature PIN was verified for the next signature
    CK_OBJECT_HANDLE keyHandle = 0;
    CK_SESSION_HANDLE sessionHandle = 0;

private:
    // What the card is handed for a key of this reference; null when the data doesn't suit it.
    [[nodiscard]] std::unique_ptr<HexBinary> DataForCard(uint32_t keyReference) const;
};
