#include "cache/card_token.h"

#include "card/card_status.h"

#include <utility>

CardToken::CardToken(uint32_t id, CardSession session, std::string reader)
    : readerName(std::move(reader)), cardSession(session), tokenId(id)
{
}

CardToken::~CardToken()
{
    if (inTransaction) {
        CardAPI_StopTransaction(cardSession);
    }
    CardAPI_CloseSession(cardSession);
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
