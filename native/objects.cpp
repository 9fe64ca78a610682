#include "native/objects.h"

#include "native/refusal.h"

#include <algorithm>
#include <cstring>

namespace native {
namespace {

constexpr std::size_t longestModulus = 1024; // bytes
constexpr std::size_t longestExponent = 8;   // bytes

CK_OBJECT_HANDLE lastObjectHandle = 0; // of the process, so that no handle comes twice

bool IsOfClass(const Attributes& attributes, CK_ULONG objectClass)
{
    return NumberOf(attributes, CKA_CLASS) == objectClass;
}

Bytes ValueOf(const Attributes& attributes, CK_ATTRIBUTE_TYPE type)
{
    const auto found = attributes.find(type);
    return found == attributes.end() ? Bytes() : found->second;
}

// What the standard gives an object that doesn't say otherwise. Nothing that is there is replaced.
void AddDefaults(Attributes& attributes)
{
    attributes.insert({CKA_MODIFIABLE, BooleanValue(false)});
    if (IsOfClass(attributes, CKO_CERTIFICATE)) {
        attributes.insert({CKA_CERTIFICATE_CATEGORY, NumberValue(0)});
        attributes.insert({CKA_JAVA_MIDP_SECURITY_DOMAIN, NumberValue(0)});
        for (const CK_ATTRIBUTE_TYPE type :
             {CKA_URL, CKA_HASH_OF_SUBJECT_PUBLIC_KEY, CKA_HASH_OF_ISSUER_PUBLIC_KEY}) {
            attributes.insert({type, Bytes()});
        }
        return;
    }
    for (const CK_ATTRIBUTE_TYPE type : {CKA_START_DATE, CKA_END_DATE, CKA_SUBJECT, CKA_ID, CKA_LABEL}) {
        attributes.insert({type, Bytes()});
    }
    for (const CK_ATTRIBUTE_TYPE type : {CKA_DERIVE, CKA_LOCAL}) {
        attributes.insert({type, BooleanValue(false)});
    }
    attributes.insert({CKA_KEY_GEN_MECHANISM, NumberValue(unavailableInformation)});
    const bool secret = IsOfClass(attributes, CKO_PRIVATE_KEY);
    const auto flags = secret ? std::vector<CK_ATTRIBUTE_TYPE>{CKA_DECRYPT, CKA_SIGN_RECOVER, CKA_UNWRAP,
                                                               CKA_WRAP_WITH_TRUSTED, CKA_ALWAYS_AUTHENTICATE}
                              : std::vector<CK_ATTRIBUTE_TYPE>{CKA_VERIFY_RECOVER, CKA_WRAP, CKA_TRUSTED};
    for (const CK_ATTRIBUTE_TYPE type : flags) {
        attributes.insert({type, BooleanValue(false)});
    }
    if (secret) {
        attributes.insert({CKA_ALWAYS_SENSITIVE, BooleanValue(true)});
    }
}

Attributes PublicPartOf(const Attributes& privateKey)
{
    Attributes attributes;
    for (const CK_ATTRIBUTE_TYPE type :
         {CKA_ID, CKA_KEY_TYPE, CKA_SUBJECT, CKA_MODULUS, CKA_MODULUS_BITS, CKA_PUBLIC_EXPONENT, CKA_TOKEN}) {
        if (const auto found = privateKey.find(type); found != privateKey.end()) {
            attributes.insert(*found);
        }
    }
    attributes[CKA_CLASS] = NumberValue(CKO_PUBLIC_KEY);
    attributes[CKA_LABEL] = TextValue("Public Key");
    attributes[CKA_PRIVATE] = BooleanValue(false);
    attributes[CKA_VERIFY] = BooleanValue(true);
    attributes[CKA_ENCRYPT] = BooleanValue(FlagOf(privateKey, CKA_DECRYPT));
    return attributes;
}

// The subject of the certificate with the same id.
void TakeSubject(Attributes& key, const std::vector<std::pair<packed::CK_OBJECT_HANDLE, Attributes>>& read)
{
    for (const auto& one : read) {
        if (IsOfClass(one.second, CKO_CERTIFICATE) && ValueOf(one.second, CKA_ID) == ValueOf(key, CKA_ID)) {
            key[CKA_SUBJECT] = ValueOf(one.second, CKA_SUBJECT);
        }
    }
}

bool IsSecretPart(const Object& object, CK_ATTRIBUTE_TYPE type)
{
    return IsOfClass(object.attributes, CKO_PRIVATE_KEY) && type >= CKA_PRIVATE_EXPONENT &&
           type <= CKA_COEFFICIENT;
}

CK_RV FillRecord(const Object& object, CK_ATTRIBUTE& record)
{
    const auto found = object.attributes.find(record.type);
    if (found == object.attributes.end()) {
        record.ulValueLen = unavailableInformation;
        return IsSecretPart(object, record.type) ? CKR_ATTRIBUTE_SENSITIVE : CKR_ATTRIBUTE_TYPE_INVALID;
    }
    const Bytes& value = found->second;
    if (record.pValue != nullptr) {
        if (record.ulValueLen < value.size()) {
            record.ulValueLen = unavailableInformation;
            return CKR_BUFFER_TOO_SMALL;
        }
        std::copy(value.begin(), value.end(), static_cast<uint8_t*>(record.pValue));
    }
    record.ulValueLen = value.size();
    return CKR_OK;
}

bool IsOneOf(CK_ATTRIBUTE_TYPE type, std::initializer_list<CK_ATTRIBUTE_TYPE> types)
{
    return std::find(types.begin(), types.end(), type) != types.end();
}

void RequirePublicRsaKey(const Attributes& attributes)
{
    for (const CK_ATTRIBUTE_TYPE type : {CKA_CLASS, CKA_KEY_TYPE, CKA_MODULUS, CKA_PUBLIC_EXPONENT}) {
        Require(attributes.contains(type), CKR_TEMPLATE_INCOMPLETE);
    }
    Require(IsOfClass(attributes, CKO_PUBLIC_KEY), CKR_ATTRIBUTE_VALUE_INVALID);
    Require(NumberOf(attributes, CKA_KEY_TYPE) == CK_ULONG{CKK_RSA}, CKR_ATTRIBUTE_VALUE_INVALID);
    const auto isWhole = [&attributes](CK_ATTRIBUTE_TYPE type, std::size_t longest) {
        const Bytes& value = attributes.at(type);
        return value.size() <= longest &&
               std::any_of(value.begin(), value.end(), [](uint8_t byte) { return byte != 0; });
    };
    Require(isWhole(CKA_MODULUS, longestModulus), CKR_ATTRIBUTE_VALUE_INVALID);
    Require(isWhole(CKA_PUBLIC_EXPONENT, longestExponent), CKR_ATTRIBUTE_VALUE_INVALID);
}

CK_ULONG BitsOf(const Bytes& number)
{
    const auto first = std::find_if(number.begin(), number.end(), [](uint8_t byte) { return byte != 0; });
    CK_ULONG bits = static_cast<CK_ULONG>(number.end() - first) * bitsPerByte;
    for (unsigned mask = 0x80; first != number.end() && (*first & mask) == 0; mask >>= 1U) {
        --bits;
    }
    return bits;
}

} // namespace

std::vector<Object> ObjectsOfCard(const std::vector<std::pair<packed::CK_OBJECT_HANDLE, Attributes>>& read)
{
    std::vector<Object> objects;
    for (const auto& [inner, attributes] : read) {
        Object object;
        object.inner = inner;
        object.attributes = attributes;
        const bool hasPublicPart = IsOfClass(attributes, CKO_PRIVATE_KEY);
        if (hasPublicPart) {
            TakeSubject(object.attributes, read);
            Object publicKey;
            publicKey.attributes = PublicPartOf(object.attributes);
            AddDefaults(publicKey.attributes);
            objects.push_back(std::move(publicKey));
        }
        AddDefaults(object.attributes);
        objects.insert(hasPublicPart ? objects.end() - 1 : objects.end(), std::move(object));
    }
    return objects;
}

Object PublicKeyOf(const Template& wanted)
{
    Object object;
    for (const auto& [type, value] : wanted) {
        Require(!IsOneOf(type, {CKA_MODULUS_BITS, CKA_LOCAL, CKA_KEY_GEN_MECHANISM}),
                CKR_ATTRIBUTE_READ_ONLY);
        Require(
            IsOneOf(type, {CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_LABEL, CKA_MODIFIABLE, CKA_KEY_TYPE, CKA_ID,
                           CKA_SUBJECT, CKA_START_DATE, CKA_END_DATE, CKA_DERIVE, CKA_ENCRYPT, CKA_VERIFY,
                           CKA_VERIFY_RECOVER, CKA_WRAP, CKA_TRUSTED, CKA_MODULUS, CKA_PUBLIC_EXPONENT}),
            CKR_ATTRIBUTE_TYPE_INVALID);
        Require(object.attributes.insert({type, value}).second, CKR_TEMPLATE_INCONSISTENT);
    }
    RequirePublicRsaKey(object.attributes);
    object.attributes[CKA_MODULUS_BITS] = NumberValue(BitsOf(object.attributes[CKA_MODULUS]));
    object.attributes.insert({CKA_TOKEN, BooleanValue(false)});
    object.attributes.insert({CKA_PRIVATE, BooleanValue(false)});
    object.attributes.insert({CKA_VERIFY, BooleanValue(true)});
    object.attributes.insert({CKA_ENCRYPT, BooleanValue(true)});
    AddDefaults(object.attributes);
    return object;
}

CK_OBJECT_HANDLE ObjectTable::Add(Object object)
{
    object.handle = ++lastObjectHandle;
    objects[lastObjectHandle] = std::make_shared<const Object>(std::move(object));
    return lastObjectHandle;
}

void ObjectTable::Replace(CK_SLOT_ID slot, std::vector<Object> added)
{
    std::erase_if(objects, [&](const auto& one) {
        const Object& known = *one.second;
        if (known.slot != slot || known.owner != 0) {
            return false;
        }
        const auto same = std::find_if(added.begin(), added.end(), [&known](const Object& object) {
            return object.inner == known.inner && object.attributes == known.attributes;
        });
        if (same == added.end()) {
            return true;
        }
        added.erase(same);
        return false;
    });
    for (Object& object : added) {
        object.slot = slot;
        Add(std::move(object));
    }
}

void ObjectTable::Remove(CK_OBJECT_HANDLE handle)
{
    objects.erase(handle);
}

void ObjectTable::RemoveOfSlot(CK_SLOT_ID slot)
{
    std::erase_if(objects, [slot](const auto& one) { return one.second->slot == slot; });
}

void ObjectTable::RemovePrivate(CK_SLOT_ID slot)
{
    std::erase_if(objects,
                  [slot](const auto& one) { return one.second->slot == slot && one.second->IsPrivate(); });
}

void ObjectTable::RemoveOfSession(CK_SESSION_HANDLE session)
{
    std::erase_if(objects, [session](const auto& one) { return one.second->owner == session; });
}

std::shared_ptr<const Object> ObjectTable::Find(CK_SLOT_ID slot, CK_OBJECT_HANDLE handle) const
{
    const auto found = objects.find(handle);
    return found == objects.end() || found->second->slot != slot ? nullptr : found->second;
}

std::vector<CK_OBJECT_HANDLE> ObjectTable::Search(CK_SLOT_ID slot, const Template& wanted) const
{
    std::vector<CK_OBJECT_HANDLE> found;
    for (const auto& [handle, object] : objects) {
        if (object->slot == slot && Match(object->attributes, wanted)) {
            found.push_back(handle);
        }
    }
    return found;
}

CK_RV FillTemplate(const Object& object, CK_ATTRIBUTE* records, CK_ULONG count)
{
    CK_RV answer = CKR_OK;
    for (CK_ULONG i = 0; i < count; ++i) {
        if (const CK_RV filled = FillRecord(object, records[i]); filled != CKR_OK) {
            answer = filled;
        }
    }
    return answer;
}

} // namespace native
