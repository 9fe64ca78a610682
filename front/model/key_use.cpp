#include "front/model/key_use.h"

namespace front {

std::shared_ptr<const Object> KeyFor(Front& front, const Session& session, const CK_MECHANISM& mechanism,
                                     CK_OBJECT_HANDLE key, CK_ATTRIBUTE_TYPE permission)
{
    Require(mechanism.ulParameterLen == 0, CKR_MECHANISM_PARAM_INVALID);
    auto object = front.FindObject(session, key);
    Require(object != nullptr && object->IsKey(), CKR_KEY_HANDLE_INVALID);
    Require(NumberOf(object->attributes, CKA_KEY_TYPE) == CK_ULONG{CKK_RSA}, CKR_KEY_TYPE_INCONSISTENT);
    Require(FlagOf(object->attributes, permission), CKR_KEY_FUNCTION_NOT_PERMITTED);
    return object;
}

const Hash* HashFor(const CK_MECHANISM* mechanism)
{
    Require(mechanism != nullptr, CKR_ARGUMENTS_BAD);
    const Hash* hash = HashOfSignature(mechanism->mechanism);
    Require(hash != nullptr || mechanism->mechanism == CKM_RSA_PKCS, CKR_MECHANISM_INVALID);
    return hash;
}

} // namespace front
