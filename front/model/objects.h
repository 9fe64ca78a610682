// The objects that applications see: copies of the library's, a public key beside each private one, and the
// public keys that applications make.
#pragma once

#include "front/abi/attributes.h"
#include "front/library/library.h"
#include "front/model/mechanisms.h"
#include "front/model/object_index.h"
#include "src/containers/made_once.h"
#include "src/platform/mutex.h"

#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

namespace Botan {
class RSA_PublicKey;
} // namespace Botan

namespace front {

struct Object
{
    CK_OBJECT_HANDLE handle = 0;
    CK_SLOT_ID slot = 0;
    CK_SESSION_HANDLE owner = 0; // the session whose end is the object's; 0 for one of the card
    packed::CK_OBJECT_HANDLE libraryHandle = 0; // 0 for an object that the library does not have
    Attributes attributes;
    // What the numbers of a key make, for rsa_public.cpp.
    std::shared_ptr<MadeOnce<Botan::RSA_PublicKey>> publicKey =
        std::make_shared<MadeOnce<Botan::RSA_PublicKey>>();

    [[nodiscard]] bool IsKey() const; // public or private
    [[nodiscard]] bool IsPrivate() const { return FlagOf(attributes, CKA_PRIVATE); }
};

// What the library has of a slot's objects, by its handles and in its order.
using LibraryObjects = std::vector<std::pair<packed::CK_OBJECT_HANDLE, Attributes>>;

// The objects of a card's slot, in the library's order, without handles and slot. Certificates are public here.
std::vector<Object> ObjectsOfCard(const LibraryObjects& read);

using ObjectsOfSlots = std::map<CK_SLOT_ID, std::vector<Object>>;

// The public key that a template of C_CreateObject describes. Refuses what is none.
Object PublicKeyOf(const Template& wanted);

struct Session;

// Has a slot's private objects only while the slot is logged in.
class Objects
{
public:
    // Gives the session's object its handle. Refuses with CKR_DEVICE_REMOVED a session that has closed with its card.
    CK_OBJECT_HANDLE Add(const Session& session, Object object) EXCLUDES(mutex);
    // Refuses an object that is not in the session's slot, and one of the card.
    void Destroy(const Session& session, CK_OBJECT_HANDLE handle) EXCLUDES(mutex);

    // Those of the card, for all that were there of this slot. One that was there already keeps its handle.
    void Replace(CK_SLOT_ID slot, std::vector<Object> added) EXCLUDES(mutex);
    void RemoveOfSlot(CK_SLOT_ID slot) EXCLUDES(mutex);
    void RemovePrivate(CK_SLOT_ID slot) EXCLUDES(mutex);
    void RemoveOfSession(const Session& session) EXCLUDES(mutex);

    // Null for an object that is not in the slot.
    [[nodiscard]] std::shared_ptr<const Object> Find(CK_SLOT_ID slot, CK_OBJECT_HANDLE handle) const
        EXCLUDES(mutex);
    [[nodiscard]] std::vector<CK_OBJECT_HANDLE> Search(CK_SLOT_ID slot, const Template& wanted) const
        EXCLUDES(mutex);
    // Of the card's keys in the slot, not of those that applications made; both 0 when there are none.
    [[nodiscard]] KeySizes SizesOfKeys(CK_SLOT_ID slot) const EXCLUDES(mutex);

private:
    CK_OBJECT_HANDLE AddHeld(Object object) REQUIRES(mutex);
    [[nodiscard]] std::shared_ptr<const Object> FindHeld(CK_SLOT_ID slot, CK_OBJECT_HANDLE handle) const
        REQUIRES(mutex);
    void RemoveHeld(CK_OBJECT_HANDLE handle) REQUIRES(mutex);
    // Those of the handles for whose objects the condition holds. Needs no memory.
    template <typename Handles, typename Condition>
    void RemoveThose(Handles handles, Condition condition) REQUIRES(mutex);

    mutable Mutex mutex; // held for moments; no other lock is taken while it is held
    std::unordered_map<CK_OBJECT_HANDLE, std::shared_ptr<const Object>> objects GUARDED_BY(mutex);
    ObjectIndex index GUARDED_BY(mutex);
};

// Fills a template. Goes through all of it; answers the last of what was wrong.
CK_RV FillTemplate(const Object& object, CK_ATTRIBUTE* records, CK_ULONG count);

} // namespace front
