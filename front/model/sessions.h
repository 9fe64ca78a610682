// The sessions of applications.
#pragma once

#include "front/model/operations.h"
#include "src/containers/record_list.h"
#include "src/platform/mutex.h"

#include <atomic>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace front {

struct Session
{
    CK_SESSION_HANDLE handle = 0;
    CK_SLOT_ID slot = 0;
    LibrarySlot card; // that was in the slot when the session was opened; the session ends with it
    bool readWrite = false;
    std::atomic<bool> open{true};

    // The library's session for the card's work; 0 until there is some, and after the card's login. CardSessions
    // sets it and takes it away.
    std::atomic<packed::CK_SESSION_HANDLE> librarySession{0};

    // The operation that the card works for (CKF_SIGN, CKF_DECRYPT), or 0. Others may read it meanwhile.
    std::atomic<CK_FLAGS> atCard{0};

    // One call at a time works with what follows. A call reaches a session through SessionUse, which holds this.
    Mutex use;
    Active<SearchOperation> search;
    Active<DigestOperation> digest;
    Active<SignOperation> sign;
    Active<VerifyOperation> verify;
    Active<EncryptOperation> encrypt;
    Active<DecryptOperation> decrypt;
};

// A session that a call works with, alone. Refuses a closed one with CKR_SESSION_HANDLE_INVALID.
class SessionUse
{
public:
    explicit SessionUse(std::shared_ptr<Session> used);
    ~SessionUse();
    SessionUse(const SessionUse&) = delete;
    SessionUse& operator=(const SessionUse&) = delete;

    Session* operator->() const { return session.get(); }
    Session& operator*() const { return *session; }

private:
    std::shared_ptr<Session> session;
};

struct SessionCounts
{
    CK_ULONG all = 0;
    CK_ULONG readWrite = 0;
};

class Sessions
{
public:
    std::shared_ptr<Session> Open(CK_SLOT_ID slot, const LibrarySlot& card, bool readWrite) EXCLUDES(mutex);
    [[nodiscard]] std::shared_ptr<Session> Find(CK_SESSION_HANDLE handle) const
        EXCLUDES(mutex); // null for an unknown one
    // False when it was closed before.
    bool Close(const Session& session) EXCLUDES(mutex);
    void CloseOfSlot(CK_SLOT_ID slot) EXCLUDES(mutex);

    [[nodiscard]] std::vector<std::shared_ptr<Session>> OfSlot(CK_SLOT_ID slot) const EXCLUDES(mutex);
    [[nodiscard]] std::vector<std::shared_ptr<Session>> OfCard(packed::CK_SLOT_ID card) const EXCLUDES(mutex);
    [[nodiscard]] SessionCounts Count(CK_SLOT_ID slot) const EXCLUDES(mutex);

private:
    using Place = std::pair<packed::CK_SLOT_ID, CK_SLOT_ID>; // a card, and the slot that it is in

    // The sessions of the places that the condition holds for.
    template <typename Condition>
    [[nodiscard]] std::vector<std::shared_ptr<Session>> OfPlaces(Condition condition) const EXCLUDES(mutex);

    mutable Mutex mutex; // held for moments; no other lock is taken while it is held
    RecordList<Session, CK_SESSION_HANDLE, Place> sessions GUARDED_BY(mutex);
    std::map<Place, SessionCounts> counts GUARDED_BY(mutex); // of each place that has sessions
};

} // namespace front
