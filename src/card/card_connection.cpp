#include "src/card/card_connection.h"

#include "src/card/card_status.h"

#include <exception>

namespace {

constexpr uint32_t tokenTextCapacity = 127; // characters, without a terminator

} // namespace

CardConnection::CardConnection(CardSession openSession) : session(openSession) {}

CardConnection::~CardConnection()
{
    try {
        End();
    } catch (...) { // NOLINT(bugprone-empty-catch): a caller that wants to know calls End
    }
}

void CardConnection::End()
{
    if (ended.exchange(true)) {
        return;
    }
    std::exception_ptr failure;
    if (inTransaction.exchange(false)) {
        try {
            CardAPI_StopTransaction(session);
        } catch (...) {
            failure = std::current_exception();
        }
    }
    try {
        CardAPI_CloseSession(session);
    } catch (...) {
        failure = failure == nullptr ? std::current_exception() : failure;
    }
    if (failure != nullptr) {
        std::rethrow_exception(failure);
    }
}

bool CardConnection::StartTransaction()
{
    if (inTransaction) {
        return false;
    }
    CardAPI_StartTransaction(session);
    inTransaction = true;
    return true;
}

bool CardConnection::StopTransaction()
{
    if (!inTransaction) {
        return false;
    }
    CardAPI_StopTransaction(session);
    inTransaction = false;
    return true;
}

bool CardConnection::IsSecureMessagingActive() const
{
    if (session == 0) {
        return false;
    }
    uint32_t flags = 0;
    return CardAPI_GetSessionFlags(session, &flags) == eStatusOk && (flags & secureMessagingFlag) != 0;
}

CardStatus CardConnection::GetTokenInfo(CardTokenInfo& info) const
{
    info = {};
    char text[tokenTextCapacity + 1] = {}; // read by nothing
    uint32_t capacity = tokenTextCapacity;
    return CardAPI_GetTokenInfo(session, &info, text, &capacity);
}
