#include "src/store/internal_cache.h"

#include "src/log/logger.h"

#include <algorithm>
#include <exception>
#include <utility>

// Where a record is taken out, the variable that receives it stands before the guard: the lock is then let go
// before the record ends.

namespace {

constexpr uint32_t onlyGroup = 0;

// Lets go of tokens that are in the store no more. Each that no call is at work with ends its card session
// here; what the card side throws is thrown when all have gone, the first of it when there is more. A token
// that is still in use ends with its last user.
void LetGo(std::vector<std::shared_ptr<CardToken>>& tokens)
{
    std::exception_ptr failure;
    for (auto& token : tokens) {
        try {
            if (token.use_count() == 1) {
                token->EndCardSession();
            }
        } catch (...) {
            failure = failure == nullptr ? std::current_exception() : failure;
        }
        token = nullptr;
    }
    if (failure != nullptr) {
        std::rethrow_exception(failure);
    }
}

} // namespace

InternalCache& InternalCache::GetInstance()
{
    static InternalCache* const instance = new InternalCache;
    return *instance;
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
        const std::lock_guard<std::mutex> guard(listLock);
        cardTokens.Append(token->tokenId, onlyGroup, token);
    }
    LOG_LINE(LogLevel_Debug, "InternalCache::AddCardToken", "New card token added in reader: %s",
             token->readerName.c_str());
}

void InternalCache::AddSlot(const std::shared_ptr<Slot>& slot)
{
    LOG_LINE(LogLevel_Debug, "InternalCache::AddSlot", "New slot added");
    if (slot != nullptr) {
        const std::lock_guard<std::mutex> guard(listLock);
        slots.Append(slot->slotId, slot->tokenId, slot);
    }
}

void InternalCache::AddSession(const std::shared_ptr<Session>& session)
{
    LOG_LINE(LogLevel_Debug, "InternalCache::AddSession", "New session added");
    if (session != nullptr) {
        const std::lock_guard<std::mutex> guard(listLock);
        sessions.Append(session->handle, session->slotId, session);
    }
}

void InternalCache::AddObject(std::shared_ptr<PkcsObject> object)
{
    const std::lock_guard<std::mutex> guard(listLock);
    if (slots.Find(object->slotId) != nullptr) {
        const auto handle = object->objectHandle;
        const auto slotId = object->slotId;
        objects.Append(handle, slotId, std::move(object));
    }
}

std::shared_ptr<CardToken> InternalCache::GetCardToken(uint32_t tokenId) const
{
    const std::lock_guard<std::mutex> guard(listLock);
    return cardTokens.Find(tokenId);
}

std::shared_ptr<Slot> InternalCache::GetSlot(CK_SLOT_ID slotId) const
{
    const std::lock_guard<std::mutex> guard(listLock);
    return slots.Find(slotId);
}

std::shared_ptr<Session> InternalCache::GetSession(CK_SESSION_HANDLE handle) const
{
    const std::lock_guard<std::mutex> guard(listLock);
    return sessions.Find(handle);
}

std::shared_ptr<PkcsObject> InternalCache::GetObject(CK_OBJECT_HANDLE handle) const
{
    const std::lock_guard<std::mutex> guard(listLock);
    return objects.Find(handle);
}

std::shared_ptr<CardToken> InternalCache::GetCardTokenOfSession(CK_SESSION_HANDLE handle) const
{
    const auto session = GetSession(handle);
    const auto slot = session == nullptr ? nullptr : GetSlot(session->slotId);
    return slot == nullptr ? nullptr : GetCardToken(slot->tokenId);
}

std::vector<std::shared_ptr<Slot>> InternalCache::GetSlots() const
{
    const std::lock_guard<std::mutex> guard(listLock);
    return slots.All();
}

std::vector<CK_SESSION_HANDLE> InternalCache::GetSessionsOfToken(uint32_t tokenId) const
{
    const std::lock_guard<std::mutex> guard(listLock);
    std::vector<CK_SESSION_HANDLE> handles;
    for (const CK_SLOT_ID slotId : slots.IdsOfGroup(tokenId)) {
        const auto ofSlot = sessions.IdsOfGroup(slotId);
        handles.insert(handles.end(), ofSlot.begin(), ofSlot.end());
    }
    return handles;
}

std::vector<CK_SESSION_HANDLE> InternalCache::GetSessionsOfSlot(CK_SLOT_ID slotId) const
{
    const std::lock_guard<std::mutex> guard(listLock);
    return sessions.IdsOfGroup(slotId);
}

std::vector<CK_OBJECT_HANDLE> InternalCache::GetObjectsOfSlot(CK_SLOT_ID slotId) const
{
    const std::lock_guard<std::mutex> guard(listLock);
    return objects.IdsOfGroup(slotId);
}

std::vector<std::shared_ptr<PkcsObject>> InternalCache::GetObjects() const
{
    const std::lock_guard<std::mutex> guard(listLock);
    return objects.All();
}

std::vector<std::shared_ptr<PkcsObject>> InternalCache::GetObjectRecordsOfSlot(CK_SLOT_ID slotId) const
{
    const std::lock_guard<std::mutex> guard(listLock);
    return objects.OfGroup(slotId);
}

bool InternalCache::HasSessionsOfToken(uint32_t tokenId) const
{
    const std::lock_guard<std::mutex> guard(listLock);
    const auto slotIds = slots.IdsOfGroup(tokenId);
    return std::any_of(slotIds.begin(), slotIds.end(),
                       [this](CK_SLOT_ID slotId) { return sessions.HasGroup(slotId); });
}

bool InternalCache::RemoveSession(CK_SESSION_HANDLE handle)
{
    std::shared_ptr<Session> removed;
    const std::lock_guard<std::mutex> guard(listLock);
    removed = sessions.Take(handle);
    return removed != nullptr;
}

void InternalCache::RemoveCardToken(const std::string& readerName)
{
    auto tokens = TokensOfReader(readerName);
    for (const auto& token : tokens) {
        const auto slotIds = SlotsOfToken(token->tokenId);
        RemoveObjectsOfSlots(slotIds);
        RemoveSessionsOfSlots(slotIds);
        RemoveSlots(slotIds);
        {
            const std::lock_guard<std::mutex> guard(listLock);
            cardTokens.Take(token->tokenId);
        }
    }
    LetGo(tokens);
}

void InternalCache::RemoveObjectsOfSlots(const std::vector<CK_SLOT_ID>& slotIds)
{
    for (const CK_SLOT_ID slotId : slotIds) {
        std::vector<std::shared_ptr<PkcsObject>> removed;
        const std::lock_guard<std::mutex> guard(listLock);
        removed = objects.TakeGroup(slotId);
    }
}

void InternalCache::RemoveSessionsOfSlots(const std::vector<CK_SLOT_ID>& slotIds)
{
    for (const CK_SLOT_ID slotId : slotIds) {
        std::vector<std::shared_ptr<Session>> removed;
        const std::lock_guard<std::mutex> guard(listLock);
        removed = sessions.TakeGroup(slotId);
    }
}

void InternalCache::RemoveSlots(const std::vector<CK_SLOT_ID>& slotIds)
{
    for (const CK_SLOT_ID slotId : slotIds) {
        std::shared_ptr<Slot> removed;
        const std::lock_guard<std::mutex> guard(listLock);
        removed = slots.Take(slotId);
    }
}

void InternalCache::Clear()
{
    std::vector<std::shared_ptr<Session>> oldSessions;
    std::vector<std::shared_ptr<Slot>> oldSlots;
    std::vector<std::shared_ptr<CardToken>> oldTokens;
    {
        const std::lock_guard<std::mutex> guard(listLock);
        oldSessions = sessions.TakeAll();
        oldSlots = slots.TakeAll();
        oldTokens = cardTokens.TakeAll();
    }
    oldSessions.clear();
    oldSlots.clear();
    LetGo(oldTokens);
}

std::vector<std::shared_ptr<CardToken>> InternalCache::TokensOfReader(const std::string& readerName) const
{
    const std::lock_guard<std::mutex> guard(listLock);
    std::vector<std::shared_ptr<CardToken>> tokens;
    for (auto& token : cardTokens.All()) {
        if (token->readerName == readerName) {
            tokens.push_back(std::move(token));
        }
    }
    return tokens;
}

std::vector<CK_SLOT_ID> InternalCache::SlotsOfToken(uint32_t tokenId) const
{
    const std::lock_guard<std::mutex> guard(listLock);
    return slots.IdsOfGroup(tokenId);
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
