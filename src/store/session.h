// One Cryptoki session, with the state of each operation that can run in it.
#pragma once

#include "src/operations/decryption_manager.h"
#include "src/operations/digest_manager.h"
#include "src/operations/encryption_manager.h"
#include "src/operations/find_object_manager.h"
#include "src/operations/sign_manager.h"
#include "src/operations/verify_manager.h"
#include "tavrik/cryptoki.h"

// Nothing is finished or told to the card when a session goes: an operation in progress simply ends with it.
struct Session
{
    Session(CK_SESSION_HANDLE ownHandle, CK_SLOT_ID ownSlotId) : handle(ownHandle), slotId(ownSlotId) {}

    const CK_SESSION_HANDLE handle;
    const CK_SLOT_ID slotId;
    uint32_t sessionState = 0; // written zero at login and logout, read by nothing
    bool loggedIn = false;     // the user is logged in as this session sees it
    FindObjectManager findObjectManager;
    SignManager signManager;
    VerifyManager verifyManager;
    DigestManager digestManager;
    EncryptionManager encryptionManager;
    DecryptionManager decryptionManager;
};
