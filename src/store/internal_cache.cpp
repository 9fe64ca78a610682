#include "src/store/internal_cache.h"

#include "src/log/logger.h"

#include <algorithm>
#include <iterator>
#include <utility>

// Where records are taken out, the variable that receives them stands before the guard: the lock is then given up
// before the records end.

namespace {

constexpr uint32_t onlyGroup = 0;

template <typename Record>
void MoveTo(std::vector<std::shared_ptr<Record>>& all, std::vector<std::shared_ptr<Record>> more)
{
    all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

} // namespace

InternalCache& InternalCache::GetInstance()
{
    static NeverDestroyed<InternalCache> instance;
    return instance.Get();
}

InternalCache::InternalCache()
{
    constexpr char logFunction[] = "InternalCache::InternalCache";
    LOG_LINE(LogLevel_Debug, logFunction, "InternalCache will be created");
    LOG_LINE(LogLevel_Debug, logFunction, "InternalCache created");
}

void InternalCache::AddCardToken(const std::shared_ptr<CardToken>& token)
{
    if (token == nullptr) {
        return;
    }
    {
        const MutexLock guard(lock);
        cardTokens.Append(token->tokenId, onlyGroup, token);
    }
    LOG_LINE(LogLevel_Debug, "InternalCache::AddCardToken", "New card token added in reader: %s",
             token->readerName.c_str());
}

void InternalCache::AddSlot(const std::shared_ptr<Slot>& slot)
{
    LOG_LINE(LogLevel_Debug, "InternalCache::AddSlot", "New slot added");
    if (slot != nullptr) {
        const MutexLock guard(lock);
        slotIds.reserve(slotIds.size() + 1); // once the slot is in, nothing may fail
        slots.Append(slot->slotId, slot->tokenId, slot);
        slotIds.push_back(slot->slotId);
    }
}

void InternalCache::AddSession(const std::shared_ptr<Session>& session)
{
    LOG_LINE(LogLevel_Debug, "InternalCache::AddSession", "New session added");
    if (session != nullptr) {
        const MutexLock guard(lock);
        sessions.Append(session->handle, session->slotId, session);
    }
}

void InternalCache::AddObject(const std::shared_ptr<PkcsObject>& object)
{
    const MutexLock guard(lock);
    if (slots.Find(object->slotId) != nullptr) {
        objects.Append(object->objectHandle, object->slotId, object);
    }
}

std::shared_ptr<CardToken> InternalCache::GetCardToken(uint32_t tokenId) const
{
    const MutexLock guard(lock);
    return cardTokens.Find(tokenId);
}

std::shared_ptr<Slot> InternalCache::GetSlot(CK_SLOT_ID slotId) const
{
    const MutexLock guard(lock);
    return slots.Find(slotId);
}

std::shared_ptr<Session> InternalCache::GetSession(CK_SESSION_HANDLE handle) const
{
    const MutexLock guard(lock);
    return sessions.Find(handle);
}

std::shared_ptr<PkcsObject> InternalCache::GetObject(CK_OBJECT_HANDLE handle) const
{
    const MutexLock guard(lock);
    return objects.Find(handle);
}

std::shared_ptr<CardToken> InternalCache::GetCardTokenOfSession(CK_SESSION_HANDLE handle) const
{
    const auto session = GetSession(handle);
    const auto slot = session == nullptr ? nullptr : GetSlot(session->slotId);
    return slot == nullptr ? nullptr : GetCardToken(slot->tokenId);
}

std::vector<CK_SLOT_ID> InternalCache::GetSlotIds() const
{
    const MutexLock guard(lock);
    return slotIds;
}

std::size_t InternalCache::CopySlotIds(std::span<CK_SLOT_ID> room) const
{
    const MutexLock guard(lock);
    if (slotIds.size() <= room.size()) {
        std::copy(slotIds.begin(), slotIds.end(), room.begin());
    }
    return slotIds.size();
}

std::vector<std::shared_ptr<Session>> InternalCache::GetSessionsOfToken(uint32_t tokenId) const
{
    std::vector<std::shared_ptr<Session>> ofToken;
    const MutexLock guard(lock);
    for (const CK_SLOT_ID slotId : slots.IdsOfGroup(tokenId)) {
        MoveTo(ofToken, sessions.OfGroup(slotId));
    }
    return ofToken;
}

std::vector<CK_SESSION_HANDLE> InternalCache::GetSessionsOfSlot(CK_SLOT_ID slotId) const
{
    const MutexLock guard(lock);
    return sessions.IdsOfGroup(slotId);
}

std::vector<std::shared_ptr<PkcsObject>> InternalCache::GetObjects() const
{
    const MutexLock guard(lock);
    return objects.All();
}

std::vector<std::shared_ptr<PkcsObject>> InternalCache::GetObjectsOfSlot(CK_SLOT_ID slotId) const
{
    const MutexLock guard(lock);
    return objects.OfGroup(slotId);
}

bool InternalCache::HasSessionsOfToken(uint32_t tokenId) const
{
    const MutexLock guard(lock);
    for (const CK_SLOT_ID slotId : slots.IdsOfGroup(tokenId)) {
        if (sessions.HasGroup(slotId)) {
            return true;
        }
    }
    return false;
}

bool InternalCache::HasObjectsOfSlot(CK_SLOT_ID slotId) const
{
    const MutexLock guard(lock);
    return objects.HasGroup(slotId);
}

bool InternalCache::RemoveSession(CK_SESSION_HANDLE handle)
{
    std::shared_ptr<Session> removed;
    const MutexLock guard(lock);
    removed = sessions.Take(handle);
    return removed != nullptr;
}

std::vector<std::shared_ptr<CardToken>> InternalCache::RemoveCardToken(const std::string& readerName)
{
    std::vector<std::shared_ptr<CardToken>> tokens;
    Removed removed;
    const MutexLock guard(lock);
    const auto all = cardTokens.All();
    tokens.reserve(all.size()); // a token that is out must not end here, with the lock held
    for (const auto& token : all) {
        if (token->readerName == readerName) {
            TakeSlotsOfToken(token->tokenId, removed);
            tokens.push_back(cardTokens.Take(token->tokenId));
        }
    }
    return tokens;
}

std::vector<std::shared_ptr<CardToken>> InternalCache::Clear()
{
    Removed removed;
    const MutexLock guard(lock);
    removed.objects = objects.TakeAll();
    removed.sessions = sessions.TakeAll();
    removed.slots = slots.TakeAll();
    slotIds = {};
    return cardTokens.TakeAll();
}

// With their sessions and objects, so that nothing is added to a slot that has gone.
void InternalCache::TakeSlotsOfToken(uint32_t tokenId, Removed& removed)
{
    for (const CK_SLOT_ID slotId : slots.IdsOfGroup(tokenId)) {
        MoveTo(removed.objects, objects.TakeGroup(slotId));
        MoveTo(removed.sessions, sessions.TakeGroup(slotId));
        std::erase(slotIds, slotId);
    }
    MoveTo(removed.slots, slots.TakeGroup(tokenId));
}

std::shared_ptr<const CardKeyInfo> FindKeyInfo(CK_SLOT_ID slotId)
{
    const auto& cache = InternalCache::GetInstance();
    const auto slot = cache.GetSlot(slotId);
    const auto token = slot == nullptr ? nullptr : cache.GetCardToken(slot->tokenId);
    if (token == nullptr) {
        return nullptr;
    }
    const auto found = token->keyInfoBySlot.find(slotId);
    return found == token->keyInfoBySlot.end() ? nullptr
                                               : std::shared_ptr<const CardKeyInfo>(token, &found->second);
}
