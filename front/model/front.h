// What the front knows between C_Initialize and C_Finalize, and how it has the library work.
//
// Locks are taken in this order: the lock of a session, the gate, the lock of the front. The last is held for
// moments and never across a call of the library. The lock of a look at the readers is taken with none of the
// others but the last, and a look asks no card.
#pragma once

#include "front/abi/refusal.h"
#include "front/library/library.h"
#include "front/model/gate.h"
#include "front/model/objects.h"
#include "front/model/session.h"
#include "front/model/slot_table.h"
#include "front/model/told_slots.h"

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace front {

// A session that a call works with, alone.
class SessionUse
{
public:
    explicit SessionUse(std::shared_ptr<Session> used);
    Session* operator->() const { return session.get(); }
    Session& operator*() const { return *session; }

private:
    std::shared_ptr<Session> session;
    std::unique_lock<std::mutex> lock;
};

class Front
{
public:
    // The library has been started.
    explicit Front(Library& started);

    [[nodiscard]] CK_INFO Info() const; // of the library

    // Slots. What is told is fresh, whatever the cards are doing.
    void LookAtReaders();
    std::vector<CK_SLOT_ID> SlotIds(bool withCardOnly);
    Slot SlotOf(CK_SLOT_ID id);       // refuses an unknown one
    Slot SlotWithCard(CK_SLOT_ID id); // and an empty one
    // The same with what the card is asked for, at the first time.
    Slot DescribedSlot(CK_SLOT_ID id);
    // The next event that was not told yet. Blocking, it waits until there is one; the end of the front ends
    // it.
    CK_SLOT_ID WaitForEvent(bool blocking);
    CK_TOKEN_INFO TokenInfo(CK_SLOT_ID id);
    // In bits. What the card doesn't tell is known once the slot's keys have been read, and 0 until then.
    KeySizes SizesOfKeys(const Slot& slot);

    // Sessions.
    CK_SESSION_HANDLE OpenSession(CK_SLOT_ID slot, bool readWrite);
    SessionUse Use(CK_SESSION_HANDLE handle);
    CK_SESSION_INFO InfoOf(CK_SESSION_HANDLE handle);
    void CloseSession(SessionUse& session);
    void CloseAllSessions(CK_SLOT_ID slot);

    // Login.
    // Why no security officer can log in: the card knows none.
    CK_RV RefusalOfSecurityOfficer(const Session& session);
    CK_RV LoginUser(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length);
    // For the signature that the session has begun.
    CK_RV LoginForOperation(Session& session, const CK_UTF8CHAR* code, CK_ULONG length);
    void Logout(const Session& session);
    bool IsLoggedIn(CK_SLOT_ID slot);
    uint64_t LoginNumber(CK_SLOT_ID slot);

    // Objects.
    // Refuses with CKR_DEVICE_REMOVED when the session has closed with its card.
    CK_OBJECT_HANDLE AddObject(const Session& session, Object object);
    void DestroyObject(const Session& session, CK_OBJECT_HANDLE handle);
    std::shared_ptr<const Object> FindObject(const Session& session, CK_OBJECT_HANDLE handle);
    std::vector<CK_OBJECT_HANDLE> Search(const Session& session, const Template& wanted);

    // The card's work.
    Bytes SignOnCard(Session& session, const Object& key, const Bytes& data);
    Bytes DecryptOnCard(Session& session, const Object& key, const Bytes& data);
    // The library's session of this one is given up, with whatever it was authorised to.
    void DropInner(Session& session);

    // No call waits any longer for an event.
    void Close();

    // No thread is in the middle of something here between the two, except in a dialog and the thread that
    // forks.
    void HoldForFork();
    void GoOnAfterFork();

    ToldSlots toldSlots;

private:
    std::shared_ptr<Session> FindSession(CK_SESSION_HANDLE handle);
    void Describe(packed::CK_SLOT_ID card);
    void DescribeBeforeWork(packed::CK_SLOT_ID card);
    packed::CK_SESSION_HANDLE KeeperOf(const InnerSlot& inner);
    packed::CK_SESSION_HANDLE InnerOf(Session& session);
    CK_RV LoginBehindGate(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length);
    CK_RV LoginToCard(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length,
                      std::vector<Object>& read);
    CK_RV Outward(const Session& session, CK_RV answer);
    CK_RV OutwardOfWork(const Session& session, CK_RV answer);
    [[nodiscard]] std::vector<Object> ReadObjects(packed::CK_SLOT_ID inner) const;
    bool ChannelStands(packed::CK_SLOT_ID card);
    bool IsLoggedInTo(packed::CK_SLOT_ID card);
    void ReleaseCard(packed::CK_SLOT_ID card);
    void LeaveCard(packed::CK_SLOT_ID card);
    void CloseInnerSessions(packed::CK_SLOT_ID card);
    void EndLogin(Slot& slot);
    void EndLogins(packed::CK_SLOT_ID card);

    Library& library;
    CK_INFO info;
    Gate gate;
    bool gateHeldForFork = false;
    std::mutex looking; // one look at the readers at a time, so that what is known only gets fresher
    std::mutex state;
    // By the card's number: the thread that asks it what it tells of itself.
    std::map<packed::CK_SLOT_ID, std::thread::id> describing;
    std::condition_variable described;
    std::condition_variable closing;
    bool closed = false;
    SlotTable slots;
    SessionTable sessions;
    ObjectTable objects;
    std::map<CK_SLOT_ID, uint64_t> loginNumbers; // goes up with each login and logout of the slot
    // By the card's number: a session of the library that keeps the card's login as long as a slot of it is
    // logged in. Used behind the gate alone.
    std::map<packed::CK_SLOT_ID, packed::CK_SESSION_HANDLE> keepers;
};

} // namespace front
