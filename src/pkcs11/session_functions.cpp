// The functions that open, close and describe sessions. The card's transaction lasts from the first session that is
// opened on the card to the last that is closed.
#include "src/cryptoki/names.h"
#include "src/log/logger.h"
#include "src/pkcs11/entry_frame.h"
#include "src/store/internal_cache.h"

namespace {

// After a session of the token was removed: when it was the last, on both slots of the card, the login is
// forgotten and the transaction ends.
void ReleaseCardAfterLastSession(CardToken& token, const char* function)
{
    if (InternalCache::GetInstance().HasSessionsOfToken(token.tokenId)) {
        return;
    }
    token.loggedIn = false;
    if (!token.card.StopTransaction()) {
        LOG_LINE(LogLevel_Debug, function,
                 "Cannot call StopTransaction, no active transaction exists on card");
    }
}

} // namespace

CK_RV C_OpenSession(CK_SLOT_ID slotID, CK_FLAGS flags, CK_VOID_PTR /*pApplication*/, CK_NOTIFY /*Notify*/,
                    CK_SESSION_HANDLE_PTR phSession)
{
    constexpr char function[] = "C_OpenSession";
    return EntryFrame(function).Run([&] {
        if ((flags & CKF_SERIAL_SESSION) == 0) {
            return CKR_SESSION_PARALLEL_NOT_SUPPORTED;
        }
        if (phSession == nullptr) {
            return CKR_ARGUMENTS_BAD;
        }
        auto& cache = InternalCache::GetInstance();
        const auto slot = cache.GetSlot(slotID);
        if (slot == nullptr) {
            LOG_LINE(LogLevel_Error, function, "Cannot open session, invalid slot VERB:slotID %lu",
                     ForLog(slotID));
            return CKR_SLOT_ID_INVALID;
        }
        const auto session = MakeSession(cache.sessionHandleCounter++, slot->slotId);
        cache.AddSession(session);
        *phSession = session->handle;

        // Not undone when the card was removed meanwhile: the caller has the handle.
        const auto token = cache.GetCardTokenOfSession(session->handle);
        if (token == nullptr) {
            return CKR_TOKEN_NOT_PRESENT;
        }
        session->loggedIn = token->loggedIn;
        if (!token->card.StartTransaction()) {
            LOG_LINE(LogLevel_Debug, function,
                     "Cannot open new transaction, another transaction already active");
        }
        LOG_LINE(LogLevel_Info, function, "Session opened VERB:slotID %lu session handle 0x%lx",
                 ForLog(slotID), ForLog(session->handle));
        return CKR_OK;
    });
}

CK_RV C_CloseSession(CK_SESSION_HANDLE hSession)
{
    constexpr char function[] = "C_CloseSession";
    return EntryFrame(function).Run([&] {
        auto& cache = InternalCache::GetInstance();
        if (cache.GetSession(hSession) == nullptr) {
            return CKR_SESSION_HANDLE_INVALID;
        }
        const auto token = cache.GetCardTokenOfSession(hSession);
        if (token == nullptr) {
            return CKR_TOKEN_NOT_PRESENT;
        }
        if (!cache.RemoveSession(hSession)) {
            LOG_LINE(LogLevel_Error, function, "Session handle 0x%lx not found", ForLog(hSession));
            return CKR_SESSION_HANDLE_INVALID;
        }
        LOG_LINE(LogLevel_Info, function, "Session closed VERB: handle 0x%lx", ForLog(hSession));
        ReleaseCardAfterLastSession(*token, function);
        return CKR_OK;
    });
}

CK_RV C_CloseAllSessions(CK_SLOT_ID slotID)
{
    constexpr char function[] = "C_CloseAllSessions";
    return EntryFrame(function).Run([&] {
        auto& cache = InternalCache::GetInstance();
        const auto slot = cache.GetSlot(slotID);
        if (slot == nullptr) {
            return CKR_SESSION_HANDLE_INVALID; // not the code that C_OpenSession has for the same slot
        }
        const auto token = cache.GetCardToken(slot->tokenId);
        if (token == nullptr) {
            return CKR_TOKEN_NOT_PRESENT;
        }
        for (const CK_SESSION_HANDLE handle : cache.GetSessionsOfSlot(slotID)) {
            if (cache.RemoveSession(handle)) {
                LOG_LINE(LogLevel_Info, function, "Session closed VERB: handle 0x%lx", ForLog(handle));
                ReleaseCardAfterLastSession(*token, function);
            } else {
                LOG_LINE(LogLevel_Info, function, "Session not closed: handle 0x%lx", ForLog(handle));
            }
        }
        return CKR_OK;
    });
}

CK_RV C_GetSessionInfo(CK_SESSION_HANDLE hSession, CK_SESSION_INFO_PTR pInfo)
{
    constexpr char function[] = "C_GetSessionInfo";
    return EntryFrame(function).Require(pInfo != nullptr).Run([&] {
        const auto session = InternalCache::GetInstance().GetSession(hSession);
        if (session == nullptr) {
            LOG_LINE(LogLevel_Error, function, "Cannot retrieve session info, session handle 0x%lx invalid",
                     ForLog(hSession));
            return CKR_SESSION_HANDLE_INVALID;
        }
        pInfo->slotID = session->slotId;
        pInfo->state = session->loggedIn ? CKS_RO_USER_FUNCTIONS : CKS_RO_PUBLIC_SESSION;
        pInfo->flags = CKF_SERIAL_SESSION;
        pInfo->ulDeviceError = 0;
        LOG_LINE(LogLevel_Info, function, "Retrieved session info, session handle 0x%lx", ForLog(hSession));
        return CKR_OK;
    });
}
