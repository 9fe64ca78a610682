#include "native/front.h"

#include <algorithm>
#include <chrono>

namespace native {
namespace {

constexpr std::chrono::milliseconds timeBetweenLooks{100};

} // namespace

SessionUse::SessionUse(std::shared_ptr<Session> used) : session(std::move(used)), lock(session->use)
{
    Require(session->open, CKR_SESSION_HANDLE_INVALID);
}

Front::Front(Library& started) : library(started), info(library.Info())
{
    LookAtReaders();
    slots.ForgetEvents(); // what is there at the start is no event
}

CK_INFO Front::Info() const
{
    return info;
}

void Front::LookAtReaders()
{
    const GateAttempt attempt(gate);
    if (attempt) {
        LookBehindGate();
    }
}

void Front::LookBehindGate()
{
    std::vector<packed::CK_SLOT_ID> known;
    {
        const std::lock_guard lock(state);
        known = slots.InnerSlots();
    }
    if (!library.HasOtherSlots(known)) {
        return;
    }
    auto present = library.Slots();
    std::vector<SlotFacts> fresh;
    for (const packed::CK_SLOT_ID inner : present) {
        if (std::find(known.begin(), known.end(), inner) == known.end()) {
            if (auto facts = library.Describe(inner)) {
                fresh.push_back(*facts);
            }
        }
    }
    const auto isPresent = [&present](packed::CK_SLOT_ID number) {
        return std::any_of(present.begin(), present.end(),
                           [number](auto inner) { return CardNumber(inner) == number; });
    };
    std::erase_if(loggedInCards, [&](auto number) { return !isPresent(number); });

    const std::lock_guard lock(state);
    std::erase_if(keepers, [&](const auto& keeper) { return !isPresent(keeper.first); });
    for (const CK_SLOT_ID emptied : slots.Update(present, fresh)) {
        sessions.CloseOfSlot(emptied);
        objects.RemoveOfSlot(emptied);
        ++loginNumbers[emptied];
    }
}

std::vector<CK_SLOT_ID> Front::SlotIds(bool withCardOnly)
{
    const std::lock_guard lock(state);
    std::vector<CK_SLOT_ID> ids;
    for (const Slot& slot : slots.All()) {
        if (slot.present || !withCardOnly) {
            ids.push_back(slot.id);
        }
    }
    return ids;
}

Slot Front::SlotOf(CK_SLOT_ID id)
{
    LookAtReaders();
    const std::lock_guard lock(state);
    const Slot* slot = slots.Find(id);
    Require(slot != nullptr, CKR_SLOT_ID_INVALID);
    return *slot;
}

Slot Front::SlotWithCard(CK_SLOT_ID id)
{
    Slot slot = SlotOf(id);
    Require(slot.present, CKR_TOKEN_NOT_PRESENT);
    return slot;
}

CK_SLOT_ID Front::WaitForEvent(bool blocking)
{
    while (true) {
        LookAtReaders();
        std::unique_lock lock(state);
        Require(!closed, CKR_CRYPTOKI_NOT_INITIALIZED);
        auto& all = slots.All();
        const auto event =
            std::find_if(all.begin(), all.end(), [](const Slot& slot) { return slot.changed; });
        if (event != all.end()) {
            event->changed = false;
            return event->id;
        }
        Require(blocking, CKR_NO_EVENT);
        closing.wait_for(lock, timeBetweenLooks, [this] { return closed; });
    }
}

CK_TOKEN_INFO Front::TokenInfo(CK_SLOT_ID id)
{
    CK_TOKEN_INFO token = SlotWithCard(id).facts.token;
    token.flags |= hasRandomGenerator;
    token.ulMaxSessionCount = effectivelyInfinite;
    token.ulMaxRwSessionCount = effectivelyInfinite;
    for (CK_ULONG* memory : {&token.ulTotalPublicMemory, &token.ulFreePublicMemory,
                             &token.ulTotalPrivateMemory, &token.ulFreePrivateMemory}) {
        *memory = unavailableInformation;
    }
    const std::lock_guard lock(state);
    token.ulSessionCount = sessions.Count(id, false);
    token.ulRwSessionCount = sessions.Count(id, true);
    return token;
}

CK_SESSION_HANDLE Front::OpenSession(CK_SLOT_ID slot, bool readWrite)
{
    static_cast<void>(SlotWithCard(slot));
    const std::lock_guard lock(state);
    Require(slots.Find(slot)->present, CKR_TOKEN_NOT_PRESENT);
    return sessions.Open(slot, readWrite)->handle;
}

std::shared_ptr<Session> Front::FindSession(CK_SESSION_HANDLE handle)
{
    std::shared_ptr<Session> session;
    {
        const std::lock_guard lock(state);
        session = sessions.Find(handle);
    }
    Require(session != nullptr, CKR_SESSION_HANDLE_INVALID);
    // A card that has gone has closed its sessions.
    const GateAttempt attempt(gate);
    if (attempt && !library.HasSlot(InnerSlot(session->slot))) {
        LookBehindGate();
    }
    return session;
}

SessionUse Front::Use(CK_SESSION_HANDLE handle)
{
    return SessionUse(FindSession(handle));
}

CK_SESSION_INFO Front::InfoOf(CK_SESSION_HANDLE handle)
{
    const auto session = FindSession(handle); // not its lock: a dialog in the session is no hindrance
    Require(session->open, CKR_SESSION_HANDLE_INVALID);
    CK_SESSION_INFO told{};
    told.slotID = session->slot;
    told.flags = session->readWrite ? CKF_SERIAL_SESSION | CKF_RW_SESSION : CKF_SERIAL_SESSION;
    if (IsLoggedIn(session->slot)) {
        told.state = session->readWrite ? rwUserFunctions : CKS_RO_USER_FUNCTIONS;
    } else {
        told.state = session->readWrite ? rwPublicSession : CKS_RO_PUBLIC_SESSION;
    }
    return told;
}

void Front::CloseSession(SessionUse& session)
{
    packed::CK_SLOT_ID innerSlot = 0;
    bool isToRelease = false;
    {
        const std::lock_guard lock(state);
        Require(sessions.Close(*session), CKR_SESSION_HANDLE_INVALID);
        objects.RemoveOfSession(session->handle);
        isToRelease = IsToRelease(session->slot);
        innerSlot = slots.Find(session->slot)->facts.inner;
    }
    DropInner(*session);
    if (isToRelease) {
        ReleaseCard(innerSlot);
    }
}

void Front::CloseAllSessions(CK_SLOT_ID slot)
{
    static_cast<void>(SlotWithCard(slot));
    std::vector<std::shared_ptr<Session>> open;
    {
        const std::lock_guard lock(state);
        open = sessions.OfSlot(slot);
    }
    for (auto& one : open) {
        try {
            SessionUse session(std::move(one));
            CloseSession(session);
        } catch (const Refusal&) {
            continue; // another thread has closed it
        }
    }
}

// Whether the slot has no session left and the library has something of its card to let go of. The caller
// holds the lock of the front.
bool Front::IsToRelease(CK_SLOT_ID slot)
{
    const packed::CK_SLOT_ID number = CardNumber(slots.Find(slot)->facts.inner);
    if (sessions.Count(slot, false) > 0 || !keepers.contains(number)) {
        return false;
    }
    const auto& all = slots.All();
    const bool cardInUse = std::any_of(all.begin(), all.end(), [&](const Slot& other) {
        return other.present && CardNumber(other.facts.inner) == number &&
               sessions.Count(other.id, false) > 0;
    });
    return !cardInUse || slots.Find(slot)->loggedIn;
}

// The slots of a card without sessions are logged out. With no slot left that is logged in, so is the card;
// and with no session left, the library lets go of it.
void Front::ReleaseCard(packed::CK_SLOT_ID inner)
{
    const GateStay stay(gate, Gate::Stay::brief);
    const packed::CK_SLOT_ID number = CardNumber(inner);
    bool anyLogin = false;
    bool anySession = false;
    {
        const std::lock_guard lock(state);
        for (Slot& slot : slots.All()) {
            if (!slot.present || CardNumber(slot.facts.inner) != number) {
                continue;
            }
            const bool used = sessions.Count(slot.id, false) > 0;
            if (!used && slot.loggedIn) {
                slot.loggedIn = false;
                ++loginNumbers[slot.id];
                objects.RemovePrivate(slot.id);
            }
            anySession = anySession || used;
            anyLogin = anyLogin || slot.loggedIn;
        }
    }
    const auto keeper = keepers.find(number);
    if (keeper == keepers.end()) {
        return;
    }
    if (!anyLogin && loggedInCards.erase(number) > 0) {
        library.Logout(keeper->second);
    }
    if (!anySession) {
        library.CloseSession(keeper->second);
        const std::lock_guard lock(state);
        keepers.erase(keeper);
    }
}

CK_RV Front::LoginUser(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length)
{
    const GateStay stay(gate, Gate::Stay::may_be_long);
    Require(!IsLoggedIn(session.slot), CKR_USER_ALREADY_LOGGED_IN);
    const packed::CK_SLOT_ID inner = InnerSlot(session.slot);
    const CK_RV accepted = LoginToCard(inner, code, length);
    // The card's other slot may have been logged in to before.
    if (accepted != CKR_OK && accepted != CKR_USER_ALREADY_LOGGED_IN) {
        return Outward(session, accepted);
    }
    loggedInCards.insert(CardNumber(inner));
    auto read = ReadObjects(inner);
    const std::lock_guard lock(state);
    Slot* slot = slots.Find(session.slot);
    Require(slot->present && slot->facts.inner == inner && session.open, CKR_DEVICE_REMOVED);
    objects.Replace(session.slot, std::move(read));
    slot->loggedIn = true;
    ++loginNumbers[session.slot];
    return CKR_OK;
}

CK_RV Front::LoginToCard(packed::CK_SLOT_ID inner, const CK_UTF8CHAR* code, CK_ULONG length)
{
    const packed::CK_SESSION_HANDLE keeper = KeeperOf(inner);
    try {
        return library.Login(keeper, CKU_USER, code, length);
    } catch (...) {
        // It may have come far enough to count as a login, without the objects that come with one.
        if (!loggedInCards.contains(CardNumber(inner))) {
            library.Logout(keeper);
        }
        throw;
    }
}

CK_RV Front::LoginForOperation(Session& session, const CK_UTF8CHAR* code, CK_ULONG length)
{
    Require(session.sign && FlagOf(session.sign->key->attributes, CKA_ALWAYS_AUTHENTICATE),
            CKR_OPERATION_NOT_INITIALIZED);
    Require(!session.sign->authorised, CKR_USER_ALREADY_LOGGED_IN);
    const GateStay stay(gate, Gate::Stay::may_be_long);
    const CK_RV accepted = library.Login(InnerOf(session), CKU_CONTEXT_SPECIFIC, code, length);
    session.sign->authorised = accepted == CKR_OK;
    return Outward(session, accepted);
}

void Front::Logout(const Session& session)
{
    packed::CK_SLOT_ID inner = 0;
    {
        const std::lock_guard lock(state);
        Slot* slot = slots.Find(session.slot);
        Require(slot->loggedIn, CKR_USER_NOT_LOGGED_IN);
        slot->loggedIn = false;
        ++loginNumbers[session.slot];
        objects.RemovePrivate(session.slot);
        inner = slot->facts.inner;
    }
    ReleaseCard(inner);
}

bool Front::IsLoggedIn(CK_SLOT_ID slot)
{
    const std::lock_guard lock(state);
    return slots.Find(slot)->loggedIn;
}

uint64_t Front::LoginNumber(CK_SLOT_ID slot)
{
    const std::lock_guard lock(state);
    return loginNumbers[slot];
}

CK_OBJECT_HANDLE Front::AddObject(Object object)
{
    const std::lock_guard lock(state);
    return objects.Add(std::move(object));
}

void Front::DestroyObject(const Session& session, CK_OBJECT_HANDLE handle)
{
    const auto object = FindObject(session, handle);
    Require(object != nullptr, CKR_OBJECT_HANDLE_INVALID);
    if (object->owner == 0) {
        throw Refusal{session.readWrite ? CKR_TOKEN_WRITE_PROTECTED : CKR_SESSION_READ_ONLY};
    }
    const std::lock_guard lock(state);
    objects.Remove(handle);
}

std::shared_ptr<const Object> Front::FindObject(const Session& session, CK_OBJECT_HANDLE handle)
{
    const std::lock_guard lock(state);
    return objects.Find(session.slot, handle, slots.Find(session.slot)->loggedIn);
}

std::vector<CK_OBJECT_HANDLE> Front::Search(const Session& session, const Template& wanted)
{
    const std::lock_guard lock(state);
    return objects.Search(session.slot, wanted, slots.Find(session.slot)->loggedIn);
}

Bytes Front::SignOnCard(Session& session, const Object& key, const Bytes& data)
{
    Bytes signature;
    try {
        const GateStay stay(gate, Gate::Stay::may_be_long);
        const CK_RV answer = library.Sign(InnerOf(session), key.inner, data, signature);
        Require(answer == CKR_OK, Outward(session, answer));
    } catch (...) {
        DropInner(session); // an operation that failed may still stand in it
        throw;
    }
    return signature;
}

Bytes Front::DecryptOnCard(Session& session, const Object& key, const Bytes& data)
{
    Bytes plain;
    const GateStay stay(gate, Gate::Stay::may_be_long);
    const CK_RV answer = library.Decrypt(InnerOf(session), key.inner, data, plain);
    Require(answer == CKR_OK, Outward(session, answer));
    return plain;
}

void Front::DropInner(Session& session)
{
    if (session.inner != 0) {
        const GateStay stay(gate, Gate::Stay::brief);
        library.CloseSession(std::exchange(session.inner, 0));
    }
}

void Front::Close()
{
    {
        const std::lock_guard lock(state);
        closed = true;
    }
    closing.notify_all();
}

packed::CK_SESSION_HANDLE Front::KeeperOf(packed::CK_SLOT_ID inner)
{
    const packed::CK_SLOT_ID number = CardNumber(inner);
    const auto known = keepers.find(number);
    if (known != keepers.end()) {
        return known->second;
    }
    const packed::CK_SESSION_HANDLE keeper = library.OpenSession(inner);
    const std::lock_guard lock(state);
    return keepers[number] = keeper;
}

packed::CK_SESSION_HANDLE Front::InnerOf(Session& session)
{
    if (session.inner == 0) {
        const packed::CK_SLOT_ID inner = InnerSlot(session.slot);
        KeeperOf(inner);
        session.inner = library.OpenSession(inner);
    }
    return session.inner;
}

packed::CK_SLOT_ID Front::InnerSlot(CK_SLOT_ID slot)
{
    const std::lock_guard lock(state);
    return slots.Find(slot)->facts.inner;
}

// The library's answer as applications are told it. Used behind the gate.
CK_RV Front::Outward(const Session& session, CK_RV answer)
{
    switch (answer) {
    case CKR_SESSION_HANDLE_INVALID:
    case CKR_SLOT_ID_INVALID:
    case CKR_TOKEN_NOT_PRESENT:
    case CKR_KEY_HANDLE_INVALID:
        return CKR_DEVICE_REMOVED; // the card went during the call
    case CKR_FUNCTION_FAILED:
        return library.HasSlot(InnerSlot(session.slot)) ? CKR_FUNCTION_FAILED : CKR_DEVICE_REMOVED;
    default:
        return answer;
    }
}

std::vector<Object> Front::ReadObjects(packed::CK_SLOT_ID inner) const
{
    const packed::CK_SESSION_HANDLE session = library.OpenSession(inner);
    std::vector<std::pair<packed::CK_OBJECT_HANDLE, Attributes>> read;
    for (const packed::CK_OBJECT_HANDLE object : library.Objects(session)) {
        read.emplace_back(object, library.Read(session, object));
    }
    library.CloseSession(session);
    return ObjectsOfCard(read);
}

} // namespace native
