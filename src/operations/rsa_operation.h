// What verifying, encrypting and decrypting have in common: one mechanism, and a key that lasts from the
// start of the operation through any number of calls.
#pragma once

#include "src/objects/pkcs_object.h"
#include "tavrik/cryptoki.h"

#include <memory>

// The texts and the attribute that make one of them out of the common start.
struct RsaOperationKind
{
    const char* initFunction;
    const char* keyFound;
    CK_ATTRIBUTE_TYPE permission; // which the key must have a value of, whatever it is
    const char* permitted;
    const char* notPermitted;
    bool keepsKeyWithoutPermission; // whether the key is there for the operation although it isn't permitted
};

// The state that they have in common.
struct RsaOperation
{
    // Begins the operation, over whatever was there. CKR_MECHANISM_INVALID and CKR_MECHANISM_PARAM_INVALID
    // leave it inactive; CKR_KEY_HANDLE_INVALID and CKR_KEY_FUNCTION_NOT_PERMITTED leave it active
    // without a key, never with the one of before. Failures are logged under the kind's function.
    CK_RV Begin(const RsaOperationKind& kind, CK_SESSION_HANDLE session, const CK_MECHANISM* requested,
                CK_OBJECT_HANDLE key);

    // The modulus length of the key in bytes, as CKA_MODULUS_BITS has it; 0 with CKR_FUNCTION_FAILED when the
    // key or its attribute is missing, or with CKR_MECHANISM_INVALID when there is no mechanism. Logs `line`
    // under `function`.
    CK_RV GetModulusLength(const char* function, const char* line, uint32_t& length) const;

    bool active = false;
    CK_MECHANISM_TYPE mechanism = 0;
    CK_SESSION_HANDLE sessionHandle = 0;
    std::shared_ptr<const PkcsObject> keyObject; // outlives its place in the store
};
