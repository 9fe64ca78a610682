// Objects and their search.
#include "front/door/boundary.h"

#include <algorithm>

namespace front {
namespace {

std::shared_ptr<const Object> RequireObject(Front& front, const Session& session, CK_OBJECT_HANDLE handle)
{
    auto object = front.objects.Find(session.slot, handle);
    Require(object != nullptr, CKR_OBJECT_HANDLE_INVALID);
    return object;
}

} // namespace

CK_RV C_CreateObject(CK_SESSION_HANDLE hSession, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount,
                     CK_OBJECT_HANDLE_PTR phObject)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        Require(phObject != nullptr, CKR_ARGUMENTS_BAD);
        Object object = PublicKeyOf(ReadTemplate(pTemplate, ulCount));
        if (FlagOf(object.attributes, CKA_TOKEN)) {
            return session->readWrite ? CKR_TOKEN_WRITE_PROTECTED : CKR_SESSION_READ_ONLY;
        }
        Require(!object.IsPrivate() || front.loginTable.IsLoggedIn(session->slot), CKR_USER_NOT_LOGGED_IN);
        *phObject = front.objects.Add(*session, std::move(object));
        return CKR_OK;
    });
}

CK_RV C_CopyObject(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ATTRIBUTE_PTR /*pTemplate*/,
                   CK_ULONG /*ulCount*/, CK_OBJECT_HANDLE_PTR phNewObject)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        Require(phNewObject != nullptr, CKR_ARGUMENTS_BAD);
        static_cast<void>(RequireObject(front, *session, hObject));
        return CKR_ACTION_PROHIBITED; // no object is CKA_COPYABLE
    });
}

CK_RV C_DestroyObject(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        front.objects.Destroy(*session, hObject);
        return CKR_OK;
    });
}

CK_RV C_GetObjectSize(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ULONG_PTR pulSize)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        Require(pulSize != nullptr, CKR_ARGUMENTS_BAD);
        const auto object = RequireObject(front, *session, hObject); // may be destroyed meanwhile
        std::size_t size = 0;
        for (const auto& attribute : object->attributes) {
            size += attribute.second.size();
        }
        *pulSize = ToUlong(size);
        return CKR_OK;
    });
}

CK_RV C_GetAttributeValue(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ATTRIBUTE_PTR pTemplate,
                          CK_ULONG ulCount)
{
    return InFront([&](Front& front) {
        const SessionUse session = front.Use(hSession);
        CheckTemplate(pTemplate, ulCount);
        return FillTemplate(*RequireObject(front, *session, hObject), pTemplate, ulCount);
    });
}

CK_RV C_FindObjectsInit(CK_SESSION_HANDLE hSession, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        Require(!session->search, CKR_OPERATION_ACTIVE);
        session->search = std::make_unique<SearchOperation>(
            SearchOperation{front.objects.Search(session->slot, ReadTemplate(pTemplate, ulCount)), 0});
        return CKR_OK;
    });
}

CK_RV C_FindObjects(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE_PTR phObject, CK_ULONG ulMaxObjectCount,
                    CK_ULONG_PTR pulObjectCount)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        Require(session->search != nullptr, CKR_OPERATION_NOT_INITIALIZED);
        Require(pulObjectCount != nullptr && (phObject != nullptr || ulMaxObjectCount == 0),
                CKR_ARGUMENTS_BAD);
        SearchOperation& search = *session->search;
        const std::size_t count = std::min<std::size_t>(ulMaxObjectCount, search.found.size() - search.next);
        std::copy_n(search.found.begin() + static_cast<std::ptrdiff_t>(search.next), count, phObject);
        search.next += count;
        *pulObjectCount = ToUlong(count);
        return CKR_OK;
    });
}

CK_RV C_FindObjectsFinal(CK_SESSION_HANDLE hSession)
{
    return InFront([&](Front& front) -> CK_RV {
        const SessionUse session = front.Use(hSession);
        Require(session->search != nullptr, CKR_OPERATION_NOT_INITIALIZED);
        session->search.reset();
        return CKR_OK;
    });
}

} // namespace front
