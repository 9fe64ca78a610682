#include "src/operations/session_operations.h"

std::shared_ptr<Session> MakeSession(CK_SESSION_HANDLE handle, CK_SLOT_ID slotId)
{
    return std::make_shared<Session>(handle, slotId, std::make_unique<SessionOperations>());
}

SessionOperations& OperationsOf(const Session& session)
{
    return static_cast<SessionOperations&>(*session.operations);
}
