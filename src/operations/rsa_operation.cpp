#include "src/operations/rsa_operation.h"

#include "src/log/function_lines.h"
#include "src/log/logger.h"
#include "src/operations/key_attributes.h"
#include "src/store/internal_cache.h"

CK_RV RsaOperation::Begin(const RsaOperationKind& kind, CK_SESSION_HANDLE session,
                          const CK_MECHANISM* requested, CK_OBJECT_HANDLE key)
{
    active = false;
    mechanism = CKR_MECHANISM_INVALID; // a missing one is stored as the error code that stands for it
    sessionHandle = session;
    keyObject = nullptr;
    if (requested->mechanism != CKM_RSA_PKCS) {
        return LogLeaving(kind.initFunction, CKR_MECHANISM_INVALID);
    }
    if (requested->pParameter != nullptr || requested->ulParameterLen != 0) {
        return LogLeaving(kind.initFunction, CKR_MECHANISM_PARAM_INVALID);
    }
    mechanism = CKM_RSA_PKCS;
    active = true; // before the key is looked at, and not taken back

    const std::shared_ptr<const PkcsObject> object = InternalCache::GetInstance().GetObject(key);
    if (object == nullptr) {
        return LogLeaving(kind.initFunction, CKR_KEY_HANDLE_INVALID);
    }
    LOG_LINE(LogLevel_Debug, kind.initFunction, "%s", kind.keyFound);
    const bool permitted = !ReadBytes(*object, kind.permission).empty();
    if (permitted || kind.keepsKeyWithoutPermission) {
        keyObject = object;
    }
    LOG_LINE(LogLevel_Debug, kind.initFunction, "%s", permitted ? kind.permitted : kind.notPermitted);
    return permitted ? CKR_OK : LogLeaving(kind.initFunction, CKR_KEY_FUNCTION_NOT_PERMITTED);
}

CK_RV RsaOperation::GetModulusLength(const char* function, const char* line, uint32_t& length) const
{
    length = 0;
    LOG_LINE(LogLevel_Debug, function, "%s", line);
    const auto modulusBits = keyObject == nullptr ? std::nullopt : ReadNumber(*keyObject, CKA_MODULUS_BITS);
    if (!modulusBits) {
        return CKR_FUNCTION_FAILED;
    }
    if (mechanism != CKM_RSA_PKCS) {
        return CKR_MECHANISM_INVALID;
    }
    length = *modulusBits / bitsPerByte;
    return CKR_OK;
}
