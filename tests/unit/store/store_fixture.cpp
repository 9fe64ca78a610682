#include "tests/unit/store/store_fixture.h"

#include "src/operations/session_operations.h"
#include "src/readers/slot_objects.h"
#include "tests/unit/card/stub_card.h"

#include <cstring>

StoreTest::StoreTest()
{
    Cache().Clear();
    ResetStubCard();
}

StoreTest::~StoreTest()
{
    StubCard().onCloseSession = nullptr;
    Cache().Clear();
}

std::vector<std::shared_ptr<Slot>> StoreTest::SlotsInStore()
{
    std::vector<std::shared_ptr<Slot>> slots;
    for (const CK_SLOT_ID slotId : Cache().GetSlotIds()) {
        slots.push_back(Cache().GetSlot(slotId));
    }
    return slots;
}

StoredCard StoreTest::AddCard(const std::string& reader, CardSession cardSession)
{
    StoredCard card{};
    card.tokenId = Cache().tokenIdCounter++;
    Cache().AddCardToken(std::make_shared<CardToken>(card.tokenId, cardSession, reader));
    card.qualifiedSlot = AddSlot(card.tokenId, "Sig_ZEP");
    card.ordinarySlot = AddSlot(card.tokenId, "Sig_EP");
    return card;
}

CK_SLOT_ID StoreTest::AddSlot(uint32_t tokenId, std::string_view label)
{
    const CK_SLOT_ID slotId = Cache().slotIdCounter++;
    Cache().AddSlot(std::make_shared<Slot>(slotId, tokenId, label));
    return slotId;
}

CK_SESSION_HANDLE StoreTest::AddSession(CK_SLOT_ID slotId)
{
    const CK_SESSION_HANDLE handle = Cache().sessionHandleCounter++;
    Cache().AddSession(MakeSession(handle, slotId));
    return handle;
}

CK_OBJECT_HANDLE StoreTest::AddPublicKey(CK_SLOT_ID slotId)
{
    return AddPublicKeyObject(slotId, MakeKeyInfo(0, 1024), CK_TRUE);
}

CK_OBJECT_HANDLE StoreTest::AddPrivateKey(CK_SLOT_ID slotId, uint32_t keyReference)
{
    const auto object = MakePrivateKeyObject(Cache().privateKeyHandleCounter++, PlaceOn(slotId),
                                             {keyReference, 2048, Bytes(256, 1), {1, 0, 3}}, {});
    Cache().AddObject(object);
    return object->objectHandle;
}

CK_OBJECT_HANDLE StoreTest::AddCertificate(CK_SLOT_ID slotId)
{
    const auto object = MakeCertificateObject(Cache().certificateHandleCounter++, PlaceOn(slotId),
                                              Botan::X509_Certificate(EncodeCertificate({})));
    Cache().AddObject(object);
    return object->objectHandle;
}

ObjectPlace StoreTest::PlaceOn(CK_SLOT_ID slotId)
{
    const auto slot = Cache().GetSlot(slotId);
    return {slotId, slot->label + "_0", slot->label == ordinaryLabel};
}

CardKeyInfo MakeKeyInfo(uint32_t keyReference, uint32_t modulusBits)
{
    CardKeyInfo info{};
    info.keyReference = keyReference;
    info.modulusBits = modulusBits;
    info.modulusLength = modulusBits / 8;
    for (uint32_t i = 0; i < info.modulusLength; ++i) {
        info.modulus[i] = static_cast<uint8_t>(i + 1);
    }
    const uint8_t exponent[] = {0x01, 0x00, 0x03};
    std::memcpy(info.publicExponent, exponent, sizeof(exponent));
    info.publicExponentLength = sizeof(exponent);
    return info;
}

Bytes AttributeOf(const PkcsObject& object, CK_ATTRIBUTE_TYPE type)
{
    for (const auto& attribute : object.attributes) {
        if (attribute->type == type) {
            return attribute->GetBytes();
        }
    }
    ADD_FAILURE() << "no attribute of type " << type;
    return {};
}

Bytes NumberBytes(uint32_t number)
{
    Bytes bytes(sizeof(number));
    std::memcpy(bytes.data(), &number, sizeof(number));
    return bytes;
}

Bytes TextBytes(std::string_view text)
{
    return {text.begin(), text.end()};
}
