// The start that the operations with a key share.
#pragma once

#include "front/abi/refusal.h"
#include "front/model/front.h"

namespace front {

// Ends the operation when the login that its key was found in is over.
template <typename Operation>
void EndWithLogin(Front& front, Session& session, Active<Operation>& operation)
{
    if (operation && operation->key->IsPrivate() &&
        operation->login != front.loginTable.Number(session.slot)) {
        operation.reset();
        front.cardSessions.Drop(session);
    }
}

// Refuses with CKR_OPERATION_ACTIVE while there is such an operation.
template <typename Operation>
void RequireNoneActive(Front& front, Session& session, Active<Operation>& operation)
{
    EndWithLogin(front, session, operation);
    Require(!operation, CKR_OPERATION_ACTIVE);
}

struct KeyUse
{
    CK_FLAGS operation;           // of the mechanism: CKF_SIGN, CKF_VERIFY ...
    CK_ATTRIBUTE_TYPE permission; // of the key: CKA_SIGN, CKA_VERIFY ...
};

// The key, when the mechanism has its parameter and the key says that it may do this. Refuses with the code of
// what is wrong.
std::shared_ptr<const Object> KeyFor(Front& front, const Session& session, const Mechanism& mechanism,
                                     const CK_MECHANISM& given, CK_OBJECT_HANDLE key,
                                     CK_ATTRIBUTE_TYPE permission);

// Begins an operation. `check` refuses a key that cannot do it.
template <typename Operation, typename Check>
CK_RV BeginWithKey(Front& front, Session& session, Active<Operation>& operation, const KeyUse& use,
                   const CK_MECHANISM* given, CK_OBJECT_HANDLE handle, Check check)
{
    const Mechanism& mechanism = MechanismFor(use.operation, given);
    RequireNoneActive(front, session, operation);
    const uint64_t login = front.loginTable.Number(session.slot); // before the key is looked up in it
    auto key = KeyFor(front, session, mechanism, *given, handle, use.permission);
    check(*key);
    operation = std::make_unique<Operation>(std::move(key), login, mechanism);
    return CKR_OK;
}

// Refuses with CKR_OPERATION_NOT_INITIALIZED when there is none, or no longer.
template <typename Operation>
void RequireActive(Front& front, Session& session, Active<Operation>& operation)
{
    EndWithLogin(front, session, operation);
    Require(operation != nullptr, CKR_OPERATION_NOT_INITIALIZED);
}

} // namespace front
