#include "front/model/front.h"

#include "front/model/rsa_public.h"
#include "src/platform/process_end.h"

#include <algorithm>
#include <chrono>

namespace front {
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
    const std::lock_guard look(looking);
    std::vector<packed::CK_SLOT_ID> known;
    {
        const std::lock_guard lock(state);
        known = slots.InnerSlots();
    }
    if (!library.HasOtherSlots(known)) {
        return;
    }
    const auto present = library.Slots();
    std::vector<SlotTable::Shown> fresh;
    for (const packed::CK_SLOT_ID inner : present) {
        if (std::find(known.begin(), known.end(), inner) == known.end()) {
            if (const auto shown = library.SlotInfo(inner)) {
                fresh.emplace_back(inner, *shown);
            }
        }
    }

    const std::lock_guard lock(state);
    for (const CK_SLOT_ID emptied : slots.Update(present, fresh)) {
        sessions.CloseOfSlot(emptied);
        objects.RemoveOfSlot(emptied);
        ++loginNumbers[emptied];
    }
}

// Who asks for a card that another thread is asking at this moment waits for its answer; nobody waits for
// another card.
void Front::Describe(packed::CK_SLOT_ID card)
{
    std::vector<SlotFacts> undescribed;
    {
        std::unique_lock lock(state);
        described.wait(lock, [this, card] { return !describing.contains(card); });
        undescribed = slots.Undescribed(card);
        if (undescribed.empty()) {
            return;
        }
        describing[card] = std::this_thread::get_id();
    }
    const auto end = [this, card] {
        const std::lock_guard lock(state);
        describing.erase(card);
        described.notify_all();
    };
    try {
        for (SlotFacts& facts : undescribed) {
            if (library.Describe(facts)) {
                const std::lock_guard lock(state);
                slots.Describe(facts);
            }
        }
    } catch (...) {
        end();
        throw;
    }
    end();
}

// Nobody has to ask a card about itself then while its dialog is open.
void Front::DescribeBeforeWork(packed::CK_SLOT_ID card)
{
    try {
        Describe(card);
    } catch (...) {
        return; // who wants to know asks again
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

Slot Front::DescribedSlot(CK_SLOT_ID id)
{
    Slot slot = SlotWithCard(id);
    if (!slot.described) {
        Describe(slot.facts.inner.card);
        const std::lock_guard lock(state);
        slot = *slots.Find(id);
        Require(slot.described && slot.present, CKR_TOKEN_NOT_PRESENT); // it has gone meanwhile
    }
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
        const PauseOfWork pause;
        closing.wait_for(lock, timeBetweenLooks, [this] { return closed; });
    }
}

CK_TOKEN_INFO Front::TokenInfo(CK_SLOT_ID id)
{
    CK_TOKEN_INFO token = DescribedSlot(id).facts.token;
    token.flags |= CKF_RNG | CKF_WRITE_PROTECTED;
    token.ulMaxSessionCount = CK_EFFECTIVELY_INFINITE;
    token.ulMaxRwSessionCount = CK_EFFECTIVELY_INFINITE;
    for (CK_ULONG* memory : {&token.ulTotalPublicMemory, &token.ulFreePublicMemory,
                             &token.ulTotalPrivateMemory, &token.ulFreePrivateMemory}) {
        *memory = CK_UNAVAILABLE_INFORMATION;
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
    const Slot* opened = slots.Find(slot);
    Require(opened->present, CKR_TOKEN_NOT_PRESENT);
    return sessions.Open(slot, opened->facts.inner, readWrite)->handle;
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
    if (!library.HasSlot(session->card.id)) {
        LookAtReaders();
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
        told.state = session->readWrite ? CKS_RW_USER_FUNCTIONS : CKS_RO_USER_FUNCTIONS;
    } else {
        told.state = session->readWrite ? CKS_RW_PUBLIC_SESSION : CKS_RO_PUBLIC_SESSION;
    }
    return told;
}

void Front::CloseSession(SessionUse& session)
{
    bool isToRelease = false;
    {
        const std::lock_guard lock(state);
        Require(sessions.Close(*session), CKR_SESSION_HANDLE_INVALID);
        objects.RemoveOfSession(session->handle);
        isToRelease = slots.Find(session->slot)->loggedIn && !sessions.IsUsed(session->slot);
    }
    DropInner(*session);
    if (isToRelease) {
        const GateStay stay(gate, Gate::Stay::brief);
        ReleaseCard(session->card.card);
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

// The slots of a card without sessions are logged out. With no slot left that is logged in, so is the card,
// and the library lets go of it. Used behind the gate.
void Front::ReleaseCard(packed::CK_SLOT_ID card)
{
    {
        const std::lock_guard lock(state);
        for (Slot* slot : slots.OfCard(card)) {
            if (slot->loggedIn && !sessions.IsUsed(slot->id)) {
                EndLogin(*slot);
            }
        }
    }
    const auto keeper = keepers.find(card);
    if (keeper == keepers.end() || IsLoggedInTo(card)) {
        return;
    }
    try {
        library.Logout(keeper->second);
    } catch (...) {
        LeaveCard(card);
        throw;
    }
    LeaveCard(card);
}

// The library has no session on the card any more, and so no transaction. Used behind the gate.
void Front::LeaveCard(packed::CK_SLOT_ID card)
{
    CloseInnerSessions(card);
    if (const auto keeper = keepers.extract(card)) {
        library.CloseSession(keeper.mapped());
    }
}

// What the library's sessions have begun, or are authorised to, ends with them. Used behind the gate.
void Front::CloseInnerSessions(packed::CK_SLOT_ID card)
{
    std::vector<std::shared_ptr<Session>> ofCard;
    {
        const std::lock_guard lock(state);
        ofCard = sessions.OfCard(card);
    }
    for (const auto& session : ofCard) {
        if (const auto inner = session->inner.exchange(0)) {
            library.CloseSession(inner);
        }
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
    DescribeBeforeWork(session.card.card);
    if (IsLoggedIn(session.slot)) {
        // The card may have given up its secure channel, which only a login finds out. It does not wait for a
        // dialog.
        const GateAttempt attempt(gate, Gate::Stay::mayBeLong);
        Require(static_cast<bool>(attempt), CKR_USER_ALREADY_LOGGED_IN);
        return LoginBehindGate(session, code, length);
    }
    const GateStay stay(gate, Gate::Stay::mayBeLong);
    return LoginBehindGate(session, code, length);
}

CK_RV Front::LoginBehindGate(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length)
{
    Require(session.open, CKR_DEVICE_REMOVED); // the slot may have another card by now
    std::vector<Object> read;
    const CK_RV accepted = LoginToCard(session, code, length, read);
    if (accepted != CKR_OK) {
        return accepted;
    }
    const std::lock_guard lock(state);
    Require(session.open, CKR_DEVICE_REMOVED);
    objects.Replace(session.slot, std::move(read));
    slots.Find(session.slot)->loggedIn = true;
    ++loginNumbers[session.slot];
    return CKR_OK;
}

// Has the card accept the code, and reads what it shows then. A card that doesn't is as free as if it had
// never been asked, and no slot of it is logged in.
CK_RV Front::LoginToCard(const Session& session, const CK_UTF8CHAR* code, CK_ULONG length,
                         std::vector<Object>& read)
{
    const packed::CK_SLOT_ID card = session.card.card;
    const bool wasLoggedIn = IsLoggedInTo(card);
    try {
        const CK_RV answer = library.Login(KeeperOf(session.card), CKU_USER, code, length);
        if (answer == CKR_USER_ALREADY_LOGGED_IN) {
            Require(!IsLoggedIn(session.slot), CKR_USER_ALREADY_LOGGED_IN);
            // The card's other slot was logged in to before.
        } else if (answer != CKR_OK) {
            EndLogins(card);
            LeaveCard(card);
            return Outward(session, answer);
        } else if (wasLoggedIn) {
            // The secure channel of the earlier login was lost, and all that came with it.
            EndLogins(card);
            CloseInnerSessions(card);
        }
        read = ReadObjects(session.card.id);
    } catch (...) {
        if (!IsLoggedInTo(card)) {
            LeaveCard(card);
        }
        throw;
    }
    return CKR_OK;
}

CK_RV Front::LoginForOperation(Session& session, const CK_UTF8CHAR* code, CK_ULONG length)
{
    Require(FlagOf(session.sign->key->attributes, CKA_ALWAYS_AUTHENTICATE), CKR_OPERATION_NOT_INITIALIZED);
    Require(!session.sign->authorised, CKR_USER_ALREADY_LOGGED_IN);
    const GateStay stay(gate, Gate::Stay::mayBeLong);
    const CK_RV accepted = library.Login(InnerOf(session), CKU_CONTEXT_SPECIFIC, code, length);
    session.sign->authorised = accepted == CKR_OK;
    return OutwardOfWork(session, accepted);
}

void Front::Logout(const Session& session)
{
    Require(IsLoggedIn(session.slot), CKR_USER_NOT_LOGGED_IN); // which no dialog need be waited for
    const GateStay stay(gate, Gate::Stay::brief);
    {
        const std::lock_guard lock(state);
        Require(session.open, CKR_DEVICE_REMOVED); // the slot may have another card by now
        Slot* slot = slots.Find(session.slot);
        Require(slot->loggedIn, CKR_USER_NOT_LOGGED_IN);
        EndLogin(*slot);
    }
    ReleaseCard(session.card.card);
}

// The caller holds the lock of the front.
void Front::EndLogin(Slot& slot)
{
    slot.loggedIn = false;
    ++loginNumbers[slot.id];
    objects.RemovePrivate(slot.id);
}

void Front::EndLogins(packed::CK_SLOT_ID card)
{
    const std::lock_guard lock(state);
    for (Slot* slot : slots.OfCard(card)) {
        if (slot->loggedIn) {
            EndLogin(*slot);
        }
    }
}

bool Front::IsLoggedInTo(packed::CK_SLOT_ID card)
{
    const std::lock_guard lock(state);
    const auto ofCard = slots.OfCard(card);
    return std::any_of(ofCard.begin(), ofCard.end(), [](const Slot* slot) { return slot->loggedIn; });
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
        const GateStay stay(gate, Gate::Stay::mayBeLong);
        const CK_RV answer = library.Sign(InnerOf(session), key.inner, data, signature);
        Require(answer == CKR_OK, OutwardOfWork(session, answer));
    } catch (...) {
        DropInner(session); // an operation that failed may still stand in it
        throw;
    }
    return signature;
}

Bytes Front::DecryptOnCard(Session& session, const Object& key, const Bytes& data)
{
    Bytes plain;
    const GateStay stay(gate, Gate::Stay::mayBeLong);
    const CK_RV answer = library.Decrypt(InnerOf(session), key.inner, data, plain);
    Require(answer == CKR_OK, OutwardOfWork(session, answer));
    return plain;
}

void Front::DropInner(Session& session)
{
    if (session.inner != 0) {
        const GateStay stay(gate, Gate::Stay::brief);
        if (const auto inner = session.inner.exchange(0)) {
            library.CloseSession(inner);
        }
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

void Front::HoldForFork()
{
    looking.lock();
    gateHeldForFork = gate.EnterForFork();
    std::unique_lock lock(state);
    described.wait(lock, [this] {
        return std::all_of(describing.begin(), describing.end(),
                           [](const auto& one) { return one.second == std::this_thread::get_id(); });
    });
    static_cast<void>(lock.release()); // let go of after the fork
}

void Front::GoOnAfterFork()
{
    state.unlock();
    if (gateHeldForFork) {
        gate.Leave();
    }
    looking.unlock();
}

packed::CK_SESSION_HANDLE Front::KeeperOf(const InnerSlot& inner)
{
    const auto known = keepers.find(inner.card);
    if (known != keepers.end()) {
        return known->second;
    }
    {
        const std::lock_guard lock(state);
        std::erase_if(keepers, [this](const auto& keeper) { return slots.OfCard(keeper.first).empty(); });
    }
    return keepers[inner.card] = library.OpenSession(inner.id);
}

packed::CK_SESSION_HANDLE Front::InnerOf(Session& session)
{
    {
        const std::lock_guard lock(state);
        Require(session.open, CKR_DEVICE_REMOVED); // the slot may have another card by now
        Require(slots.Find(session.slot)->loggedIn, CKR_USER_NOT_LOGGED_IN);
    }
    if (session.inner == 0) {
        session.inner = library.OpenSession(session.card.id);
    }
    return session.inner;
}

// The library's answer as applications are told it. Used behind the gate.
CK_RV Front::Outward(const Session& session, CK_RV answer)
{
    if (!library.HasSlot(session.card.id)) {
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

// The same of work that the card's login is needed for. When that failed because the login is over, its
// sessions are public again. Used behind the gate.
CK_RV Front::OutwardOfWork(const Session& session, CK_RV answer)
{
    const CK_RV told = answer == CKR_OK ? answer : Outward(session, answer);
    if (told == CKR_FUNCTION_FAILED && !ChannelStands(session.card.card)) {
        EndLogins(session.card.card);
        LeaveCard(session.card.card);
    }
    return told;
}

// Whether the card still does what needs its login. The library answers a lost secure channel like any other
// failure, so the card is given a block to decrypt that it can decrypt. True when it has no key to try that
// with.
bool Front::ChannelStands(packed::CK_SLOT_ID card)
{
    std::vector<InnerSlot> decrypting;
    {
        const std::lock_guard lock(state);
        for (const Slot* slot : slots.OfCard(card)) {
            if (slot->facts.decrypts) {
                decrypting.push_back(slot->facts.inner);
            }
        }
    }
    bool tried = false;
    try {
        for (const InnerSlot& slot : decrypting) {
            const packed::CK_SESSION_HANDLE session = library.OpenSession(slot.id);
            const InnerSessionEnd end(library, session);
            for (const Object& key : ReadObjects(slot.id)) {
                if (key.inner == 0 || !FlagOf(key.attributes, CKA_DECRYPT)) {
                    continue;
                }
                const Bytes block = EncryptFor(key, Bytes{0});
                Bytes plain;
                tried = true;
                if (library.Decrypt(session, key.inner, block, plain) == CKR_OK) {
                    return true;
                }
            }
        }
    } catch (...) {
        return true; // not known; the next login finds it out
    }
    return !tried;
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

} // namespace front
