// One Cryptoki object: a certificate, a private key or a public key, as a bag of attributes.
#pragma once

#include "src/containers/made_once.h"
#include "src/crypto/rsa_public_key.h"
#include "src/objects/pkcs_attribute.h"

#include <memory>

// Kinds of object. These are not the CKO_ numbers, which stand in the object's CKA_CLASS.
inline constexpr uint32_t privateKeyKind = 1;
inline constexpr uint32_t certificateKind = 2;
inline constexpr uint32_t publicKeyKind = 3;

struct PkcsObject
{
    PkcsObject(uint32_t ownKind, CK_OBJECT_HANDLE handle, CK_SLOT_ID ownSlotId);

    // Copies the records of `attributeTemplate` whose type the object doesn't have yet: the first of a type
    // wins.
    void SetAttributes(const CK_ATTRIBUTE* attributeTemplate, CK_ULONG count);

    // Answers a type by the object's kind, without regard to login:
    //   CKR_OK                       `out` has the type and the stored value, or the unavailable one
    //   CKR_ATTRIBUTE_TYPE_INVALID   the type is none of this kind's; `out` is as it was
    //   CKR_FUNCTION_FAILED          the kind is unknown
    CK_RV GetAttribute(CK_ATTRIBUTE_TYPE type, PkcsAttribute& out) const;

    // Whether the object has, for every attribute of `filter`, one of that type with the same bytes. All
    // values without bytes are the same.
    [[nodiscard]] bool FilterMatches(const PkcsAttributes& filter) const;

    // The key that CKA_MODULUS and CKA_PUBLIC_EXPONENT make; null for an object that cannot have them. Botan takes far
    // longer to make a key than to use it, so it is made at the first call and lives with the object. Several threads may
    // call. Throws what Botan throws of parts that make no key.
    [[nodiscard]] std::shared_ptr<RsaPublicKey> PublicKey() const;

    uint32_t kind;
    CK_SLOT_ID slotId;
    CK_OBJECT_HANDLE objectHandle;
    PkcsAttributes attributes; // in order of insertion, not changed once the object is in the store
    uint32_t keyReference = 0; // of a key: what its CardKeyInfo says, decides what signing hands to the card
    uint32_t certificateIndex = 0; // of a certificate: its running number on the slot

private:
    [[nodiscard]] const PkcsAttribute* FindAttribute(CK_ATTRIBUTE_TYPE type) const;

    std::unique_ptr<MadeOnce<RsaPublicKey>> publicKey = std::make_unique<MadeOnce<RsaPublicKey>>();
};
