#include "front/model/key_use.h"

namespace front {

std::shared_ptr<const Object> KeyFor(Front& front, const Session& session, const Mechanism& mechanism,
                                     const CK_MECHANISM& given, CK_OBJECT_HANDLE key,
                                     CK_ATTRIBUTE_TYPE permission)
{
    CheckParameter(mechanism, given);
    auto object = front.objects.Find(session.slot, key);
    Require(object != nullptr && object->IsKey(), CKR_KEY_HANDLE_INVALID);
    Require(NumberOf(object->attributes, CKA_KEY_TYPE) == CK_ULONG{CKK_RSA}, CKR_KEY_TYPE_INCONSISTENT);
    Require(FlagOf(object->attributes, permission), CKR_KEY_FUNCTION_NOT_PERMITTED);
    return object;
}

} // namespace front
