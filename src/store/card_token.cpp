#include "src/store/card_token.h"

#include "src/card/card_status.h"

#include <exception>
#include <utility>

CardToken::CardToken(uint32_t id, CardSession session, std::string reader)
    : readerName(std::move(reader)), cardSession(session), tokenId(id)
{
}

CardToken::~CardToken()
{
    try {
        EndCardSession();
    } catch (...) { // NOLINT(bugprone-empty-catch): whoever needs to know ends the session before
    }
}

void CardToken::EndCardSession()
{
    if (std::exchange(cardSessionEnded, true)) {
        return;
    }
    std::exception_ptr failure;
    if (std::exchange(inTransaction, false)) {
        try {
            CardAPI_StopTransaction(cardSession);
        } catch (...) {
            failure = std::current_exception();
        }
    }
    try {
        CardAPI_CloseSession(cardSession);
    } catch (...) {
        failure = failure == nullptr ? std::current_exception() : failure;
    }
    if (failure != nullptr) {
        std::rethrow_exception(failure);
    }
}

CK_RV CardToken::StartTransaction()
{
    if (inTransaction) {
        return CKR_OPERATION_ACTIVE;
    }
    CardAPI_StartTransaction(cardSession);
    inTransaction = true;
    return CKR_OK;
}

CK_RV CardToken::StopTransaction()
{
    if (!inTransaction) {
        return CKR_OPERATION_NOT_INITIALIZED;
    }
    CardAPI_StopTransaction(cardSession);
    inTransaction = false;
    return CKR_OK;
}

bool CardToken::IsSecureMessagingActive() const
{
    if (cardSession == 0) {
        return false;
    }
    uint32_t flags = 0;
    return CardAPI_GetSessionFlags(cardSession, &flags) == eStatusOk && (flags & secureMessagingFlag) != 0;
}
