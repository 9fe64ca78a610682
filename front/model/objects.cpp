#include "front/model/objects.h"

#include "front/abi/refusal.h"
#include "front/model/derived_attributes.h"
#include "front/model/sessions.h"

#include <botan/bigint.h>

#include <algorithm>
#include <atomic>
#include <list>
#include <span>
#include <tuple>

namespace front {
namespace {

constexpr std::size_t longestModulus = 1024; // bytes
constexpr std::size_t longestExponent = 8;   // bytes
constexpr std::size_t dateLength = 8;        // bytes of a CK_DATE
constexpr CK_SESSION_HANDLE noSession = 0;   // the owner of the card's objects

std::atomic<CK_OBJECT_HANDLE> lastObjectHandle{0}; // of the process, so that no handle comes twice

bool AreAlike(const Attributes& one, const Attributes& other, CK_ATTRIBUTE_TYPE type)
{
    const auto value = ValueOf(one, type);
    const auto otherValue = ValueOf(other, type);
    return std::equal(value.begin(), value.end(), otherValue.begin(), otherValue.end());
}

enum class Default
{
    none,
    empty,
    no,
    yes,
    zero,
    unknown,
    sha1
};

Bytes ValueOfDefault(Default chosen)
{
    switch (chosen) {
    case Default::no:
        return BooleanValue(false);
    case Default::yes:
        return BooleanValue(true);
    case Default::zero:
        return NumberValue(0);
    case Default::unknown:
        return NumberValue(CK_UNAVAILABLE_INFORMATION);
    case Default::sha1:
        return NumberValue(CKM_SHA_1);
    default:
        return {};
    }
}

// What the standard gives an object that doesn't say otherwise.
void AddDefaults(Attributes& attributes)
{
    const bool isCertificate = IsOfClass(attributes, CKO_CERTIFICATE);
    const bool isPrivateKey = IsOfClass(attributes, CKO_PRIVATE_KEY);
    const auto add = [&](CK_ATTRIBUTE_TYPE type, Default ofCertificate, Default ofPublicKey,
                         Default ofPrivateKey) {
        const Default ofKey = isPrivateKey ? ofPrivateKey : ofPublicKey;
        const Default chosen = isCertificate ? ofCertificate : ofKey;
        if (chosen != Default::none) {
            attributes.insert({type, ValueOfDefault(chosen)});
        }
    };
#define ATTRIBUTE(type, value, certificate, key, certificate_default, public_default, private_default, ...)  \
    add(type, Default::certificate_default, Default::public_default, Default::private_default);
#define LATER ATTRIBUTE
#include "src/cryptoki/attributes.inc"
}

// Nothing that is there is replaced.
void Complete(Attributes& attributes)
{
    AddDerived(attributes);
    AddDefaults(attributes);
}

// The certificates among the objects of a slot, found by their ids. Refers to those objects.
class Certificates
{
public:
    explicit Certificates(const LibraryObjects& read)
    {
        for (const auto& [handle, attributes] : read) {
            if (IsOfClass(attributes, CKO_CERTIFICATE)) {
                byId[IdOf(attributes)] = &attributes;
            }
        }
    }

    // The last one with the object's id; null when there is none.
    [[nodiscard]] const Attributes* Of(const Attributes& object) const
    {
        const auto found = byId.find(IdOf(object));
        return found == byId.end() ? nullptr : found->second;
    }

private:
    static Bytes IdOf(const Attributes& object)
    {
        const auto id = ValueOf(object, CKA_ID);
        return {id.begin(), id.end()};
    }

    std::map<Bytes, const Attributes*> byId;
};

// A key is told from others with the same numbers by its certificate.
void GiveUniqueIds(std::vector<Object>& objects, const Certificates& certificates)
{
    UniqueIds ids;
    for (Object& object : objects) {
        const Attributes* const certificate = certificates.Of(object.attributes);
        object.attributes[CKA_UNIQUE_ID] =
            ids.OfCardObject(object.attributes, certificate == nullptr ? std::span<const uint8_t>()
                                                                       : ValueOf(*certificate, CKA_VALUE));
    }
}

Attributes PublicPartOf(const Attributes& privateKey)
{
    Attributes attributes;
    for (const CK_ATTRIBUTE_TYPE type : {CKA_ID, CKA_KEY_TYPE, CKA_SUBJECT, CKA_MODULUS, CKA_MODULUS_BITS,
                                         CKA_PUBLIC_EXPONENT, CKA_PUBLIC_KEY_INFO, CKA_TOKEN}) {
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

// Whether the key is the slot's first one, which the library has sign whichever key it is given. A further certificate of
// that key has a private key object of its own, with the same numbers.
bool IsKeyThatSigns(const Attributes& key, const Attributes& first)
{
    return AreAlike(key, first, CKA_MODULUS) && AreAlike(key, first, CKA_PUBLIC_EXPONENT);
}

void TakeSubject(Attributes& key, const Certificates& certificates)
{
    if (const Attributes* const certificate = certificates.Of(key)) {
        const auto subject = ValueOf(*certificate, CKA_SUBJECT);
        key[CKA_SUBJECT].assign(subject.begin(), subject.end());
    }
}

// The objects that a card's slot is to have, less those that turn out to be there. Refers to them, and keeps their order.
class NewObjects
{
public:
    explicit NewObjects(std::vector<Object>& objects)
    {
        for (Object& object : objects) {
            byContent.emplace(&object, left.insert(left.end(), &object));
        }
    }

    // Takes out one that is the same as an object that is there. False when none is. Needs no memory.
    bool TakeOut(const Object& known)
    {
        const auto same = byContent.find(&known);
        if (same == byContent.end()) {
            return false;
        }
        left.erase(same->second);
        byContent.erase(same);
        return true;
    }

    [[nodiscard]] const std::list<Object*>& Left() const { return left; }

private:
    struct ContentOrder
    {
        bool operator()(const Object* one, const Object* other) const
        {
            return std::tie(one->libraryHandle, one->attributes) <
                   std::tie(other->libraryHandle, other->attributes);
        }
    };

    std::list<Object*> left;
    std::multimap<const Object*, std::list<Object*>::iterator, ContentOrder> byContent;
};

bool IsSecretPart(const Object& object, CK_ATTRIBUTE_TYPE type)
{
    switch (type) {
#define SECRET(name) case name:
#include "src/cryptoki/attributes.inc"
        return IsOfClass(object.attributes, CKO_PRIVATE_KEY);
    default:
        return false;
    }
}

CK_RV FillRecord(const Object& object, CK_ATTRIBUTE& record)
{
    const auto found = object.attributes.find(record.type);
    if (found == object.attributes.end()) {
        record.ulValueLen = CK_UNAVAILABLE_INFORMATION;
        return IsSecretPart(object, record.type) ? CKR_ATTRIBUTE_SENSITIVE : CKR_ATTRIBUTE_TYPE_INVALID;
    }
    const Bytes& value = found->second;
    if (record.pValue != nullptr) {
        if (record.ulValueLen < value.size()) {
            record.ulValueLen = CK_UNAVAILABLE_INFORMATION;
            return CKR_BUFFER_TOO_SMALL;
        }
        std::copy(value.begin(), value.end(), static_cast<uint8_t*>(record.pValue));
    }
    record.ulValueLen = ToUlong(value.size());
    return CKR_OK;
}

// Refuses an attribute that a template must not give for a public key.
void RequireGivable(CK_ATTRIBUTE_TYPE type)
{
    constexpr CK_RV given = CKR_OK;
    constexpr CK_RV computed = CKR_ATTRIBUTE_READ_ONLY;
    constexpr CK_RV never = CKR_ATTRIBUTE_TYPE_INVALID;
    switch (type) {
#define ATTRIBUTE(name, value, certificate, key, certificate_default, public_default, private_default,       \
                  creation)                                                                                  \
    case name:                                                                                               \
        Require((creation) == CKR_OK, creation);                                                             \
        return;
#define LATER ATTRIBUTE
#include "src/cryptoki/attributes.inc"
    default:
        throw Refusal{never};
    }
}

void RequireNumber(const Attributes& attributes, CK_ATTRIBUTE_TYPE type, CK_ULONG number)
{
    Require(attributes.contains(type), CKR_TEMPLATE_INCOMPLETE);
    Require(NumberOf(attributes, type) == number, CKR_ATTRIBUTE_VALUE_INVALID);
}

// What PKCS #1 says of an RSA public key: two odd numbers, and an exponent of at least 3 below the modulus.
void RequireRsaNumbers(const Bytes& modulus, const Bytes& exponent)
{
    constexpr unsigned smallestExponent = 3;
    Require(modulus.size() <= longestModulus && exponent.size() <= longestExponent,
            CKR_ATTRIBUTE_VALUE_INVALID);
    const Botan::BigInt n(modulus);
    const Botan::BigInt e(exponent);
    Require(n.is_odd() && e.is_odd() && e >= smallestExponent && e < n, CKR_ATTRIBUTE_VALUE_INVALID);
}

// Empty, or year, month and day in digits.
bool IsDate(const Bytes& value)
{
    return value.empty() ||
           (value.size() == dateLength &&
            std::all_of(value.begin(), value.end(), [](uint8_t byte) { return byte >= '0' && byte <= '9'; }));
}

void RequirePublicKeyAttribute(CK_ATTRIBUTE_TYPE type, const Bytes& value)
{
    RequireGivable(type);
    Require(type != CKA_TRUSTED || !IsTrue(value), CKR_ATTRIBUTE_READ_ONLY); // the security officer's to set
    Require(type != CKA_COPYABLE || !IsTrue(value), CKR_ATTRIBUTE_VALUE_INVALID);
    const bool isDate = type == CKA_START_DATE || type == CKA_END_DATE;
    Require(!isDate || IsDate(value), CKR_ATTRIBUTE_VALUE_INVALID);
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

bool Object::IsKey() const
{
    return IsOfClass(attributes, CKO_PUBLIC_KEY) || IsOfClass(attributes, CKO_PRIVATE_KEY);
}

std::vector<Object> ObjectsOfCard(const LibraryObjects& read)
{
    const Certificates certificates(read);
    const Attributes* firstKey = nullptr;
    std::vector<Object> objects;
    for (const auto& [handle, attributes] : read) {
        Object object;
        object.libraryHandle = handle;
        object.attributes = attributes;
        const bool hasPublicPart = IsOfClass(attributes, CKO_PRIVATE_KEY);
        if (IsOfClass(attributes, CKO_CERTIFICATE)) {
            object.attributes[CKA_PRIVATE] = BooleanValue(false);
        }
        if (hasPublicPart) {
            TakeSubject(object.attributes, certificates);
            firstKey = firstKey == nullptr ? &attributes : firstKey;
            if (!IsKeyThatSigns(attributes, *firstKey)) {
                object.attributes[CKA_SIGN] = BooleanValue(false);
            }
            Object publicKey;
            publicKey.attributes = PublicPartOf(object.attributes);
            Complete(publicKey.attributes);
            objects.push_back(std::move(publicKey));
        }
        Complete(object.attributes);
        objects.insert(hasPublicPart ? objects.end() - 1 : objects.end(), std::move(object));
    }
    GiveUniqueIds(objects, certificates);
    return objects;
}

Object PublicKeyOf(const Template& wanted)
{
    Object object;
    for (const auto& [type, value] : wanted) {
        const bool isFlag = KindOf(type) == AttributeKind::boolean;
        Bytes kept = isFlag ? BooleanValue(IsTrue(value)) : value;
        Require(object.attributes.insert({type, std::move(kept)}).second, CKR_TEMPLATE_INCONSISTENT);
    }
    // Class and type first: they say what the other attributes can be.
    RequireNumber(object.attributes, CKA_CLASS, CKO_PUBLIC_KEY);
    RequireNumber(object.attributes, CKA_KEY_TYPE, CKK_RSA);
    for (const auto& [type, value] : object.attributes) {
        RequirePublicKeyAttribute(type, value);
    }
    for (const CK_ATTRIBUTE_TYPE type : {CKA_MODULUS, CKA_PUBLIC_EXPONENT}) {
        Require(object.attributes.contains(type), CKR_TEMPLATE_INCOMPLETE);
    }
    RequireRsaNumbers(object.attributes[CKA_MODULUS], object.attributes[CKA_PUBLIC_EXPONENT]);
    object.attributes[CKA_MODULUS_BITS] = NumberValue(BitsOf(object.attributes[CKA_MODULUS]));
    const Bytes info = PublicKeyInfoOf(object.attributes);
    Bytes& toldInfo = object.attributes[CKA_PUBLIC_KEY_INFO];
    Require(toldInfo.empty() || toldInfo == info, CKR_PUBLIC_KEY_INVALID);
    toldInfo = info;
    object.attributes[CKA_UNIQUE_ID] = NewUniqueId(object.attributes);
    object.attributes.insert({CKA_TOKEN, BooleanValue(false)});
    object.attributes.insert({CKA_PRIVATE, BooleanValue(false)});
    object.attributes.insert({CKA_VERIFY, BooleanValue(true)});
    object.attributes.insert({CKA_ENCRYPT, BooleanValue(true)});
    object.attributes.insert({CKA_DESTROYABLE, BooleanValue(true)});
    Complete(object.attributes);
    return object;
}

CK_OBJECT_HANDLE Objects::Add(const Session& session, Object object)
{
    const MutexLock lock(mutex);
    Require(session.open, CKR_DEVICE_REMOVED);
    object.slot = session.slot;
    object.owner = session.handle;
    return AddHeld(std::move(object));
}

CK_OBJECT_HANDLE Objects::AddHeld(Object object)
{
    const CK_OBJECT_HANDLE handle = ++lastObjectHandle;
    object.handle = handle;
    auto added = std::make_shared<const Object>(std::move(object));
    index.Add(*added);
    try {
        objects.emplace(handle, added);
    } catch (...) {
        index.Remove(*added);
        throw;
    }
    return handle;
}

void Objects::RemoveHeld(CK_OBJECT_HANDLE handle)
{
    const auto removed = objects.extract(handle);
    index.Remove(*removed.mapped());
}

// From one handle to the next greater one, since a list that has become empty is gone.
template <typename Handles, typename Condition>
void Objects::RemoveThose(Handles handles, Condition condition)
{
    CK_OBJECT_HANDLE last = 0;
    for (;;) {
        const ObjectIndex::Handles& left = handles();
        const auto next = left.upper_bound(last);
        if (next == left.end()) {
            return;
        }
        last = *next;
        if (condition(*objects.at(last))) {
            RemoveHeld(last);
        }
    }
}

void Objects::Destroy(const Session& session, CK_OBJECT_HANDLE handle)
{
    const MutexLock lock(mutex);
    const auto object = FindHeld(session.slot, handle);
    Require(object != nullptr, CKR_OBJECT_HANDLE_INVALID);
    Require(FlagOf(object->attributes, CKA_DESTROYABLE), CKR_ACTION_PROHIBITED);
    RemoveHeld(handle);
}

void Objects::Replace(CK_SLOT_ID slot, std::vector<Object> added)
{
    NewObjects newObjects(added);
    const MutexLock lock(mutex);
    const auto ofCard = [&]() REQUIRES(mutex) -> const auto&
    {
        return index.OfOwner(slot, noSession);
    };
    RemoveThose(ofCard, [&](const Object& known) { return !newObjects.TakeOut(known); });
    for (Object* const object : newObjects.Left()) {
        object->slot = slot;
        AddHeld(std::move(*object));
    }
}

void Objects::RemoveOfSlot(CK_SLOT_ID slot)
{
    const MutexLock lock(mutex);
    const auto ofSlot = [&]() REQUIRES(mutex) -> const auto&
    {
        return index.OfSlot(slot);
    };
    RemoveThose(ofSlot, [](const Object&) { return true; });
}

void Objects::RemovePrivate(CK_SLOT_ID slot)
{
    const MutexLock lock(mutex);
    const auto ofSlot = [&]() REQUIRES(mutex) -> const auto&
    {
        return index.OfSlot(slot);
    };
    RemoveThose(ofSlot, [](const Object& object) { return object.IsPrivate(); });
}

void Objects::RemoveOfSession(const Session& session)
{
    const MutexLock lock(mutex);
    const auto made = [&]() REQUIRES(mutex) -> const auto&
    {
        return index.OfOwner(session.slot, session.handle);
    };
    RemoveThose(made, [](const Object&) { return true; });
}

std::shared_ptr<const Object> Objects::Find(CK_SLOT_ID slot, CK_OBJECT_HANDLE handle) const
{
    const MutexLock lock(mutex);
    return FindHeld(slot, handle);
}

std::shared_ptr<const Object> Objects::FindHeld(CK_SLOT_ID slot, CK_OBJECT_HANDLE handle) const
{
    const auto found = objects.find(handle);
    return found == objects.end() || found->second->slot != slot ? nullptr : found->second;
}

std::vector<CK_OBJECT_HANDLE> Objects::Search(CK_SLOT_ID slot, const Template& wanted) const
{
    const MutexLock lock(mutex);
    std::vector<CK_OBJECT_HANDLE> found;
    for (const CK_OBJECT_HANDLE handle : index.Candidates(slot, wanted)) {
        if (Match(objects.at(handle)->attributes, wanted)) {
            found.push_back(handle);
        }
    }
    return found;
}

KeySizes Objects::SizesOfKeys(CK_SLOT_ID slot) const
{
    const MutexLock lock(mutex);
    KeySizes sizes;
    for (const CK_OBJECT_HANDLE handle : index.OfOwner(slot, noSession)) {
        const CK_ULONG bits = NumberOf(objects.at(handle)->attributes, CKA_MODULUS_BITS).value_or(0);
        if (bits != 0) {
            sizes.smallest = sizes.smallest == 0 ? bits : std::min(sizes.smallest, bits);
            sizes.largest = std::max(sizes.largest, bits);
        }
    }
    return sizes;
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

} // namespace front
