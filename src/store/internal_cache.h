// The one in-memory view of cards, slots, sessions and objects, and the source of every id and handle.
#pragma once

#include "src/card/card_api.h"
#include "src/containers/record_list.h"
#include "src/objects/pkcs_object.h"
#include "src/platform/mutex.h"
#include "src/platform/never_destroyed.h"
#include "src/store/card_token.h"
#include "src/store/session.h"
#include "src/store/slot.h"
#include "tavrik/cryptoki.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

// Records refer to one another by id, and every use looks the id up again: a reader event can take a card's
// records out at any moment, also while a call uses them. A record that a lookup has returned lives until its
// last user releases it.
//
// The lists stand behind one lock that no caller sees. It is never held across a log line or the end of a
// record, and so across no call to the card.
class InternalCache
{
public:
    // The singleton, made at the first call and never destroyed.
    static InternalCache& GetInstance();

    InternalCache(const InternalCache&) = delete;
    InternalCache& operator=(const InternalCache&) = delete;

    // Adding a record that the caller built, with its id drawn from the counter. Null is ignored.
    void AddCardToken(const std::shared_ptr<CardToken>& token) EXCLUDES(lock);
    void AddSlot(const std::shared_ptr<Slot>& slot) EXCLUDES(lock);
    void AddSession(const std::shared_ptr<Session>& session) EXCLUDES(lock);

    // The same for an object, which must not be null. One whose slot is not in the store is not added.
    void AddObject(const std::shared_ptr<PkcsObject>& object) EXCLUDES(lock);

    // Lookups; null when nothing matches.
    std::shared_ptr<CardToken> GetCardToken(uint32_t tokenId) const EXCLUDES(lock);
    std::shared_ptr<Slot> GetSlot(CK_SLOT_ID slotId) const EXCLUDES(lock);
    std::shared_ptr<Session> GetSession(CK_SESSION_HANDLE handle) const EXCLUDES(lock);
    std::shared_ptr<PkcsObject> GetObject(CK_OBJECT_HANDLE handle) const EXCLUDES(lock);
    std::shared_ptr<CardToken> GetCardTokenOfSession(CK_SESSION_HANDLE handle) const EXCLUDES(lock);

    // Lists in the order in which the records were added. The sessions of a token come slot by slot.
    std::vector<CK_SLOT_ID> GetSlotIds() const EXCLUDES(lock);
    std::vector<std::shared_ptr<Session>> GetSessionsOfToken(uint32_t tokenId) const EXCLUDES(lock);
    std::vector<CK_SESSION_HANDLE> GetSessionsOfSlot(CK_SLOT_ID slotId) const EXCLUDES(lock);
    std::vector<std::shared_ptr<PkcsObject>> GetObjects() const EXCLUDES(lock);
    std::vector<std::shared_ptr<PkcsObject>> GetObjectsOfSlot(CK_SLOT_ID slotId) const EXCLUDES(lock);

    // The ids of the slots into the caller's room, without memory of their own. The result is their number; nothing is
    // copied when there is room for fewer.
    std::size_t CopySlotIds(std::span<CK_SLOT_ID> room) const EXCLUDES(lock);

    // Whether the lists would have anything in them.
    bool HasSessionsOfToken(uint32_t tokenId) const EXCLUDES(lock);
    bool HasObjectsOfSlot(CK_SLOT_ID slotId) const EXCLUDES(lock);

    // Removing. A session that isn't there gives false.
    bool RemoveSession(CK_SESSION_HANDLE handle) EXCLUDES(lock);

    // Takes out every card of that reader; the name must match to the byte. Its objects, sessions and slots end
    // here, in this order, unless a call still uses them. The tokens are handed to the caller, who decides
    // when their card sessions end.
    std::vector<std::shared_ptr<CardToken>> RemoveCardToken(const std::string& readerName) EXCLUDES(lock);

    // Empties the store, in the same way. The counters go on.
    std::vector<std::shared_ptr<CardToken>> Clear() EXCLUDES(lock);

    // The next id or handle of each kind, drawn by post-increment and never issued again in the life of the
    // process.
    std::atomic<uint32_t> tokenIdCounter{1};
    std::atomic<CK_SLOT_ID> slotIdCounter{1};
    std::atomic<CK_SESSION_HANDLE> sessionHandleCounter{1};
    std::atomic<CK_OBJECT_HANDLE> certificateHandleCounter{0x70000001};
    std::atomic<CK_OBJECT_HANDLE> privateKeyHandleCounter{0x30000001};
    std::atomic<CK_OBJECT_HANDLE> publicKeyHandleCounter{0x40000001};

private:
    // Records on their way out of the store. They end with it, in reverse order of declaration.
    struct Removed
    {
        std::vector<std::shared_ptr<Slot>> slots;
        std::vector<std::shared_ptr<Session>> sessions;
        std::vector<std::shared_ptr<PkcsObject>> objects;
    };

    friend class NeverDestroyed<InternalCache>;
    InternalCache();

    void TakeSlotsOfToken(uint32_t tokenId, Removed& removed) REQUIRES(lock);

    mutable Mutex lock;
    RecordList<Slot> slots GUARDED_BY(lock);           // grouped by token
    std::vector<CK_SLOT_ID> slotIds GUARDED_BY(lock);  // in order: applications ask for the list in a loop
    RecordList<Session> sessions GUARDED_BY(lock);     // grouped by slot
    RecordList<CardToken> cardTokens GUARDED_BY(lock); // in one group
    RecordList<PkcsObject> objects GUARDED_BY(lock);   // grouped by slot
};

// What the card said about the key of a slot, by value; null when C_GetMechanismList has not asked yet, or
// the slot or its token is gone. The token that owns the record comes with it.
std::shared_ptr<const CardKeyInfo> FindKeyInfo(CK_SLOT_ID slotId);
