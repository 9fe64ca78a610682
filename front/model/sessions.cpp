#include "front/model/sessions.h"

#include "front/abi/refusal.h"

namespace front {
namespace {

std::atomic<CK_SESSION_HANDLE> lastSessionHandle{0}; // of the process, so that no handle comes twice

} // namespace

// The lock is that of an object which is known at run time only, and is held from here to the destructor.
SessionUse::SessionUse(std::shared_ptr<Session> used) NO_THREAD_SAFETY_ANALYSIS : session(std::move(used))
{
    session->use.Lock();
    if (!session->open) {
        session->use.Unlock();
        throw Refusal{CKR_SESSION_HANDLE_INVALID};
    }
}

SessionUse::~SessionUse() NO_THREAD_SAFETY_ANALYSIS
{
    session->use.Unlock();
}

std::shared_ptr<Session> Sessions::Open(CK_SLOT_ID slot, const LibrarySlot& card, bool readWrite)
{
    auto session = std::make_shared<Session>();
    session->handle = ++lastSessionHandle;
    session->slot = slot;
    session->card = card;
    session->readWrite = readWrite;
    const MutexLock lock(mutex);
    sessions[session->handle] = session;
    return session;
}

std::shared_ptr<Session> Sessions::Find(CK_SESSION_HANDLE handle) const
{
    const MutexLock lock(mutex);
    const auto found = sessions.find(handle);
    return found == sessions.end() ? nullptr : found->second;
}

bool Sessions::Close(const Session& session)
{
    const MutexLock lock(mutex);
    const auto found = sessions.find(session.handle);
    if (found == sessions.end()) {
        return false;
    }
    found->second->open = false;
    sessions.erase(found);
    return true;
}

void Sessions::CloseOfSlot(CK_SLOT_ID slot)
{
    for (const auto& session : OfSlot(slot)) {
        Close(*session);
    }
}

template <typename Condition>
std::vector<std::shared_ptr<Session>> Sessions::Those(Condition condition) const
{
    const MutexLock lock(mutex);
    std::vector<std::shared_ptr<Session>> found;
    for (const auto& one : sessions) {
        if (condition(*one.second)) {
            found.push_back(one.second);
        }
    }
    return found;
}

std::vector<std::shared_ptr<Session>> Sessions::OfSlot(CK_SLOT_ID slot) const
{
    return Those([slot](const Session& session) { return session.slot == slot; });
}

std::vector<std::shared_ptr<Session>> Sessions::OfCard(packed::CK_SLOT_ID card) const
{
    return Those([card](const Session& session) { return session.card.card == card; });
}

SessionCounts Sessions::Count(CK_SLOT_ID slot) const
{
    const MutexLock lock(mutex);
    SessionCounts counts;
    for (const auto& one : sessions) {
        if (one.second->slot == slot) {
            ++counts.all;
            counts.readWrite += one.second->readWrite ? 1U : 0U;
        }
    }
    return counts;
}

} // namespace front
