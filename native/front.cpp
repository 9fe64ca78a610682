#include "native/front.h"

#include <algorithm>
#include <chrono>
#include <optional>

namespace native {
namespace {

constexpr std::chrono::milliseconds timeBetweenLooks{100};

// The end of a session of the library, however the block ends.
class InnerSessionEnd
{
public:
    InnerSessionEnd(const Library& itsLibrary, packed::CK_SESSION_HANDLE closed)
        : library(itsLibrary), session(closed)
    {
    }
    ~InnerSessionEnd() { library.CloseSession(session); }
    InnerSessionEnd(const InnerSessionEnd&) = delete;
    InnerSessionEnd& operator=(const InnerSessionEnd&) = delete;

private:
    const Library& library;
    packed::CK_SESSION_HANDLE session;
};

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

    const std::lock_guard lock(state);
    for (const CK_SLOT_ID emptied : slots.Update(present, fresh)) {
        sessions.CloseOfSlot(emptied);
        objects.RemoveOfSlot(emptied);
        ++loginNumbers[emptied];
    }
    std::erase_if(loggedInCards, [this](auto card) { return !slots.HasCard(card); });
    std::erase_if(keepers, [this](const auto& keeper) { return !slots.HasCard(keeper.first); });
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
    token.flags |= hasRandomGenerator | writeProtected;
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

KeySizes Front::SizesOfKeys(const Slot& slot)
{
    if (slot.facts.keyBits != 0) {
        return {slot.facts.keyBits, slot.facts.keyBits};
    }
    const std::lock_guard lock(state);
    return objects.SizesOfKeys(slot.id);
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
    if (attempt && !library.HasSlot(InnerSlotOf(session->slot).id)) {
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
    packed::CK_SLOT_ID card = 0;
    bool isToRelease = false;
    {
        const std::lock_guard lock(state);
        Require(sessions.Close(*session), CKR_SESSION_HANDLE_INVALID);
        objects.RemoveOfSession(session->handle);
        isToRelease = IsToRelease(session->slot);
        card = slots.Find(session->slot)->facts.inner.card;
    }
    DropInner(*session);
    if (isToRelease) {
        const GateStay stay(gate, Gate::Stay::brief);
        ReleaseCard(card);
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
    const packed::CK_SLOT_ID card = slots.Find(slot)->facts.inner.card;
    if (sessions.IsUsed(slot) || !keepers.contains(card)) {
        return false;
    }
    const auto& all = slots.All();
    const bool cardInUse = std::any_of(all.begin(), all.end(), [&](const Slot& other) {
        return other.present && other.facts.inner.card == card && sessions.IsUsed(other.id);
    });
    return !cardInUse || slots.Find(slot)->loggedIn;
}

// The slots of a card without sessions are logged out. With no slot left that is logged in, so is the card;
// and with no session left, the library lets go of it. Used behind the gate.
void Front::ReleaseCard(packed::CK_SLOT_ID card)
{
    bool anyLogin = false;
    bool anySession = false;
    {
        const std::lock_guard lock(state);
        for (Slot& slot : slots.All()) {
            if (!slot.present || slot.facts.inner.card != card) {
                continue;
            }
            const bool used = sessions.IsUsed(slot.id);
            if (!used && slot.loggedIn) {
                EndLogin(slot);
            }
            anySession = anySession || used;
            anyLogin = anyLogin || slot.loggedIn;
        }
    }
    const auto found = keepers.find(card);
    if (found == keepers.end()) {
        return;
    }
    const packed::CK_SESSION_HANDLE keeper = found->second;
    std::optional<InnerSessionEnd> end; // after the logout, also when that throws
    if (!anySession) {
        end.emplace(library, keeper);
        const std::lock_guard lock(state);
        keepers.erase(found);
    }
    if (!anyLogin && loggedInCards.erase(card) > 0) {
        library.Logout(keeper);
    }
}

CK_RV Front::RefusalOfSecurityOfficer(const Session& session)
{
    const std::lock_guard lock(state);
    if (sessions.Count(session.slot, false) > sessions.Count(session.slot, true)) {
        return CKR_SESSION_READ_ONLY_EXISTS;
    }
    return slots.Find(session.slot)->loggedIn ? CKR_USER_ANOTHER_ALREADY_LOGGED_IN
                                              : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV Front::LoginUser(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length)
{
    Require(!IsLoggedIn(session.slot), CKR_USER_ALREADY_LOGGED_IN); // which no dialog need be waited for
    const GateStay stay(gate, Gate::Stay::may_be_long);
    Require(session.open, CKR_DEVICE_REMOVED); // the slot may have another card by now
    Require(!IsLoggedIn(session.slot), CKR_USER_ALREADY_LOGGED_IN);
    std::vector<Object> read;
    const CK_RV accepted = LoginToCard(session, code, length, read);
    if (accepted != CKR_OK) {
        return accepted;
    }
    const std::lock_guard lock(state);
    objects.Replace(session.slot, std::move(read));
    slots.Find(session.slot)->loggedIn = true;
    ++loginNumbers[session.slot];
    return CKR_OK;
}

// Has the card accept the code, and reads what it shows then.
CK_RV Front::LoginToCard(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length,
                         std::vector<Object>& read)
{
    const InnerSlot inner = InnerSlotOf(session.slot);
    const packed::CK_SESSION_HANDLE keeper = KeeperOf(inner);
    try {
        const CK_RV accepted = library.Login(keeper, CKU_USER, code, length);
        // The card's other slot may have been logged in to before.
        if (accepted != CKR_OK && accepted != CKR_USER_ALREADY_LOGGED_IN) {
            return Outward(session, accepted);
        }
        read = ReadObjects(inner.id);
    } catch (...) {
        // It may have come far enough to count as a login, without the objects that come with one.
        if (!loggedInCards.contains(inner.card)) {
            library.Logout(keeper);
        }
        throw;
    }
    loggedInCards.insert(inner.card);
    return CKR_OK;
}

CK_RV Front::LoginForOperation(Session& session, const CK_UTF8CHAR* code, CK_ULONG length)
{
    Require(FlagOf(session.sign->key->attributes, CKA_ALWAYS_AUTHENTICATE), CKR_OPERATION_NOT_INITIALIZED);
    Require(!session.sign->authorised, CKR_USER_ALREADY_LOGGED_IN);
    const GateStay stay(gate, Gate::Stay::may_be_long);
    const CK_RV accepted = library.Login(InnerOf(session), CKU_CONTEXT_SPECIFIC, code, length);
    session.sign->authorised = accepted == CKR_OK;
    return Outward(session, accepted);
}

void Front::Logout(const Session& session)
{
    Require(IsLoggedIn(session.slot), CKR_USER_NOT_LOGGED_IN); // which no dialog need be waited for
    const GateStay stay(gate, Gate::Stay::brief);
    packed::CK_SLOT_ID card = 0;
    {
        const std::lock_guard lock(state);
        Require(session.open, CKR_DEVICE_REMOVED); // the slot may have another card by now
        Slot* slot = slots.Find(session.slot);
        Require(slot->loggedIn, CKR_USER_NOT_LOGGED_IN);
        EndLogin(*slot);
        card = slot->facts.inner.card;
    }
    ReleaseCard(card);
}

// The caller holds the lock of the front.
void Front::EndLogin(Slot& slot)
{
    slot.loggedIn = false;
    ++loginNumbers[slot.id];
    objects.RemovePrivate(slot.id);
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

CK_OBJECT_HANDLE Front::AddObject(const Session& session, Object object)
{
    const std::lock_guard lock(state);
    Require(session.open, CKR_DEVICE_REMOVED);
    return objects.Add(std::move(object));
}

void Front::DestroyObject(const Session& session, CK_OBJECT_HANDLE handle)
{
    const std::lock_guard lock(state);
    const auto object = objects.Find(session.slot, handle);
    Require(object != nullptr, CKR_OBJECT_HANDLE_INVALID);
    if (object->owner == 0) {
        throw Refusal{session.readWrite ? CKR_TOKEN_WRITE_PROTECTED : CKR_SESSION_READ_ONLY};
    }
    objects.Remove(handle);
}

std::shared_ptr<const Object> Front::FindObject(const Session& session, CK_OBJECT_HANDLE handle)
{
    const std::lock_guard lock(state);
    return objects.Find(session.slot, handle);
}

std::vector<CK_OBJECT_HANDLE> Front::Search(const Session& session, const Template& wanted)
{
    const std::lock_guard lock(state);
    return objects.Search(session.slot, wanted);
}

Bytes Front::SignOnCard(Session& session, const Object& key, const Bytes& data)
{
    Bytes signature;
    try {
        const GateStay stay(gate, Gate::Stay::may_be_long);
        const CK_RV answer = library.Sign(InnerOf(session), key.inner, data, signature);
        RequireOk(session, answer);
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
    RequireOk(session, answer);
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

packed::CK_SESSION_HANDLE Front::KeeperOf(const InnerSlot& inner)
{
    const auto known = keepers.find(inner.card);
    if (known != keepers.end()) {
        return known->second;
    }
    const packed::CK_SESSION_HANDLE keeper = library.OpenSession(inner.id);
    const std::lock_guard lock(state);
    return keepers[inner.card] = keeper;
}

packed::CK_SESSION_HANDLE Front::InnerOf(Session& session)
{
    Require(session.open, CKR_DEVICE_REMOVED); // the slot may have another card by now
    if (session.inner == 0) {
        const InnerSlot inner = InnerSlotOf(session.slot);
        KeeperOf(inner);
        session.inner = library.OpenSession(inner.id);
    }
    return session.inner;
}

InnerSlot Front::InnerSlotOf(CK_SLOT_ID slot)
{
    const std::lock_guard lock(state);
    return slots.Find(slot)->facts.inner;
}

// The library's answer as applications are told it. Used behind the gate.
CK_RV Front::Outward(const Session& session, CK_RV answer)
{
    if (!library.HasSlot(InnerSlotOf(session.slot).id)) {
        return CKR_DEVICE_REMOVED; // during the call
    }
    switch (answer) {
    // About handles and slots of the library's own, or a dialog that came to no result.
    case CKR_SESSION_HANDLE_INVALID:
    case CKR_SLOT_ID_INVALID:
    case CKR_TOKEN_NOT_PRESENT:
    case CKR_KEY_HANDLE_INVALID:
    case CKR_TOKEN_NOT_RECOGNIZED:
        return CKR_FUNCTION_FAILED;
    default:
        return answer;
    }
}

void Front::RequireOk(const Session& session, CK_RV answer)
{
    if (answer != CKR_OK) {
        throw Refusal{Outward(session, answer)};
    }
}

std::vector<Object> Front::ReadObjects(packed::CK_SLOT_ID inner) const
{
    const packed::CK_SESSION_HANDLE session = library.OpenSession(inner);
    const InnerSessionEnd end(library, session);
    std::vector<std::pair<packed::CK_OBJECT_HANDLE, Attributes>> read;
    for (const packed::CK_OBJECT_HANDLE object : library.Objects(session)) {
        read.emplace_back(object, library.Read(session, object));
    }
    return ObjectsOfCard(read);
}

} // namespace native
