// One Cryptoki session.
#pragma once

#include "tavrik/cryptoki.h"

#include <memory>
#include <utility>

// The state of the operations that can run in a session. The store keeps it and does not look into it.
class OperationState
{
public:
    OperationState() = default;
    virtual ~OperationState() = default;
    OperationState(const OperationState&) = delete;
    OperationState& operator=(const OperationState&) = delete;
};

// When a session ends, no operation is finished and the card is not called: an operation in progress ends with it.
struct Session
{
    Session(CK_SESSION_HANDLE ownHandle, CK_SLOT_ID ownSlotId, std::unique_ptr<OperationState> ownOperations)
        : handle(ownHandle), slotId(ownSlotId), operations(std::move(ownOperations))
    {
    }

    const CK_SESSION_HANDLE handle;
    const CK_SLOT_ID slotId;
    uint32_t sessionState = 0; // written zero at login and logout, read by nothing
    bool loggedIn = false;     // the user is logged in as this session sees it
    const std::unique_ptr<OperationState> operations;
};
