// The operations that can run in a session, one of each kind at a time.
#pragma once

#include "src/operations/decryption_manager.h"
#include "src/operations/digest_manager.h"
#include "src/operations/encryption_manager.h"
#include "src/operations/find_object_manager.h"
#include "src/operations/sign_manager.h"
#include "src/operations/verify_manager.h"
#include "src/store/session.h"

struct SessionOperations final : OperationState
{
    FindObjectManager findObjectManager;
    SignManager signManager;
    VerifyManager verifyManager;
    DigestManager digestManager;
    EncryptionManager encryptionManager;
    DecryptionManager decryptionManager;
};

// A new session in which no operation is active, for the store.
std::shared_ptr<Session> MakeSession(CK_SESSION_HANDLE handle, CK_SLOT_ID slotId);

// The operations of a session that MakeSession made. They live as long as the session.
SessionOperations& OperationsOf(const Session& session);
