#include "tests/unit/operations/rsa_store_fixture.h"

#include "src/readers/slot_objects.h"
#include "tests/unit/crypto/rsa_test_keys.h"

#include <algorithm>

RsaStoreTest::RsaStoreTest() : card(AddCard("Reader", cardSession)), session(AddSession(card.ordinarySlot)) {}

CK_OBJECT_HANDLE RsaStoreTest::AddKey(const Bytes& modulus, const Bytes& exponent) const
{
    CardKeyInfo info{};
    info.modulusLength = modulus.size();
    info.modulusBits = static_cast<uint32_t>(8 * modulus.size());
    std::copy(modulus.begin(), modulus.end(), info.modulus);
    info.publicExponentLength = exponent.size();
    std::copy(exponent.begin(), exponent.end(), info.publicExponent);
    return AddPublicKeyObject(card.ordinarySlot, info, CK_TRUE);
}

void RsaStoreTest::RemoveAttribute(PkcsObject& object, CK_ATTRIBUTE_TYPE type)
{
    auto& attributes = object.attributes;
    attributes.erase(std::remove_if(attributes.begin(), attributes.end(),
                                    [type](const auto& attribute) { return attribute->type == type; }),
                     attributes.end());
}

void RsaStoreTest::SetAttribute(PkcsObject& object, CK_ATTRIBUTE_TYPE type, const Bytes& value)
{
    RemoveAttribute(object, type);
    object.attributes.push_back(std::make_unique<PkcsAttribute>(type, Value(value).get()));
}

std::unique_ptr<HexBinary> RsaStoreTest::Value(const Bytes& bytes)
{
    return std::make_unique<HexBinary>(bytes.data(), static_cast<int32_t>(bytes.size()), true);
}

std::string Leaving(const std::string& result)
{
    return "PKCS11_FUNCTION_LEAVING, result " + result;
}

KeyParts TestKeyParts()
{
    const auto& key = *TestRsaKey().GetPublicKey();
    return {TakeBytes(key.Get_N()), TakeBytes(key.Get_E())};
}
