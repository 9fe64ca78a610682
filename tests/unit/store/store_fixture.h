// The store with cards of the stub's in it.
#pragma once

#include "src/objects/certificate_objects.h"
#include "src/store/internal_cache.h"
#include "tests/unit/crypto/test_certificates.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

// The ids of one card's records.
struct StoredCard
{
    uint32_t tokenId;
    CK_SLOT_ID qualifiedSlot; // Sig_ZEP
    CK_SLOT_ID ordinarySlot;  // Sig_EP
};

// Begins and ends each test with an empty store and a stub card that knows of nothing.
class StoreTest : public testing::Test
{
protected:
    StoreTest();
    ~StoreTest() override;

    static InternalCache& Cache() { return InternalCache::GetInstance(); }

    // In the order in which they were added.
    static std::vector<std::shared_ptr<Slot>> SlotsInStore();

    // Records with ids from the counters, built as the library builds them.
    static StoredCard AddCard(const std::string& reader, CardSession cardSession);
    static CK_SLOT_ID AddSlot(uint32_t tokenId, std::string_view label);
    static CK_SESSION_HANDLE AddSession(CK_SLOT_ID slotId);

    // One object for the slot.
    static CK_OBJECT_HANDLE AddPublicKey(CK_SLOT_ID slotId);
    static CK_OBJECT_HANDLE AddPrivateKey(CK_SLOT_ID slotId, uint32_t keyReference);
    static CK_OBJECT_HANDLE AddCertificate(CK_SLOT_ID slotId);

private:
    static ObjectPlace PlaceOn(CK_SLOT_ID slotId);
};

// A key record with a modulus of `modulusBits`, least significant byte first: 1, 2, 3 and so on.
CardKeyInfo MakeKeyInfo(uint32_t keyReference, uint32_t modulusBits);

// The bytes of an attribute of an object, which must have it.
Bytes AttributeOf(const PkcsObject& object, CK_ATTRIBUTE_TYPE type);

// A copy of a number as an attribute holds it, and of a text.
Bytes NumberBytes(uint32_t number);
Bytes TextBytes(std::string_view text);
