// The one in-memory view of cards, slots, sessions and objects, and the source of every id and handle.
#pragma once

#include "src/card/card_api.h"
#include "src/objects/pkcs_object.h"
#include "src/store/card_token.h"
#include "src/store/record_list.h"
#include "src/store/session.h"
#include "src/store/slot.h"
#include "tavrik/cryptoki.h"

#include <botan/x509cert.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// Records refer to one another by id, and every use looks the id up again: a reader event can take a card's
// records out at any moment, also while a call is at work with them. A record that a lookup has handed out
// lives until its last user lets go of it.
//
// The lists stand behind one short lock that no caller sees. It is never held across a call to the card, a
// log line or the end of a record.
class InternalCache
{
public:
    using CertificateList = std::vector<std::unique_ptr<Botan::X509_Certificate>>;

    // The singleton, made at the first call and never destroyed.
    static InternalCache& GetInstance();

    InternalCache(const InternalCache&) = delete;
    InternalCache& operator=(const InternalCache&) = delete;

    // Adding a record that the caller built, with its id drawn from the counter. Null is ignored.
    void AddCardToken(const std::shared_ptr<CardToken>& token);
    void AddSlot(const std::shared_ptr<Slot>& slot);
    void AddSession(const std::shared_ptr<Session>& session);

    // Making objects for a slot. Nothing is made for a slot that is not, or no longer, in the store.

    // One object per certificate; a null entry uses up its position in CKA_ID, but no running number.
    void AddCertificateObjects(CK_SLOT_ID slotId, const CertificateList& certificates);

    // One object per key record; `certificates` has an entry at the position of each.
    void AddPrivKeyObjects(CK_SLOT_ID slotId, const std::vector<CardKeyInfo>& keyInfos,
                           const CertificateList& certificates);

    // One object per key record, whose modulus is big-endian here. Writes the handle of the last one to
    // `handle`.
    void AddPubKeyObjects(CK_SLOT_ID slotId, const std::vector<CardKeyInfo>& keyInfos,
                          CK_OBJECT_HANDLE& handle, CK_BBOOL verify);

    // Lookups; null when nothing matches.
    std::shared_ptr<CardToken> GetCardToken(uint32_t tokenId) const;
    std::shared_ptr<Slot> GetSlot(CK_SLOT_ID slotId) const;
    std::shared_ptr<Session> GetSession(CK_SESSION_HANDLE handle) const;
    std::shared_ptr<PkcsObject> GetObject(CK_OBJECT_HANDLE handle) const;
    std::shared_ptr<CardToken> GetCardTokenOfSession(CK_SESSION_HANDLE handle) const;

    // Lists in the order in which the records were added.
    std::vector<std::shared_ptr<Slot>> GetSlots() const;
    std::vector<CK_SESSION_HANDLE> GetSessionsOfToken(uint32_t tokenId) const;
    std::vector<CK_SESSION_HANDLE> GetSessionsOfSlot(CK_SLOT_ID slotId) const;
    std::vector<CK_OBJECT_HANDLE> GetObjectsOfSlot(CK_SLOT_ID slotId) const;
    std::vector<std::shared_ptr<PkcsObject>> GetObjects() const;
    std::vector<std::shared_ptr<PkcsObject>> GetObjectRecordsOfSlot(CK_SLOT_ID slotId) const;

    // Whether GetSessionsOfToken would find any, without making the list.
    bool HasSessionsOfToken(uint32_t tokenId) const;

    // Removing. A session that isn't there gives false.
    bool RemoveSession(CK_SESSION_HANDLE handle);

    // Every card of that reader with its objects, sessions and slots; the name must match to the byte. Throws
    // what the card side throws as card sessions end, when all have gone from the store.
    void RemoveCardToken(const std::string& readerName);

    void RemoveObjectsOfSlots(const std::vector<CK_SLOT_ID>& slotIds);
    void RemoveSessionsOfSlots(const std::vector<CK_SLOT_ID>& slotIds);
    void RemoveSlots(const std::vector<CK_SLOT_ID>& slotIds);

    // Empties the store, and so closes the card sessions of an earlier run. The counters go on. Throws as
    // RemoveCardToken does.
    void Clear();

    // The next id or handle of each kind, drawn by post-increment and never issued again in the life of the
    // process.
    std::atomic<uint32_t> tokenIdCounter{1};
    std::atomic<CK_SLOT_ID> slotIdCounter{1};
    std::atomic<CK_SESSION_HANDLE> sessionHandleCounter{1};
    std::atomic<CK_OBJECT_HANDLE> certificateHandleCounter{0x70000001};
    std::atomic<CK_OBJECT_HANDLE> privateKeyHandleCounter{0x30000001};
    std::atomic<CK_OBJECT_HANDLE> publicKeyHandleCounter{0x40000001};

private:
    InternalCache();

    // Appends the object unless its slot has gone meanwhile.
    void AddObject(std::shared_ptr<PkcsObject> object);

    std::vector<std::shared_ptr<CardToken>> TokensOfReader(const std::string& readerName) const;
    std::vector<CK_SLOT_ID> SlotsOfToken(uint32_t tokenId) const;

    mutable std::mutex listLock;
    RecordList<Slot> slots;           // grouped by token
    RecordList<Session> sessions;     // grouped by slot
    RecordList<CardToken> cardTokens; // in one group
    RecordList<PkcsObject> objects;   // grouped by slot
};

// What the card said about the key of a slot, by value; null when C_GetMechanismList has not asked yet, or
// the slot or its token is gone. The token that owns the record comes with it.
std::shared_ptr<const CardKeyInfo> FindKeyInfo(CK_SLOT_ID slotId);
