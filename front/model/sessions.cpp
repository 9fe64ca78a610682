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
    const Place place(card.card, slot);
    const MutexLock lock(mutex);
    SessionCounts& count = counts[place];
    sessions.Append(session->handle, place, session);
    ++count.all;
    count.readWrite += readWrite ? 1U : 0U;
    return session;
}

std::shared_ptr<Session> Sessions::Find(CK_SESSION_HANDLE handle) const
{
    const MutexLock lock(mutex);
    return sessions.Find(handle);
}

bool Sessions::Close(const Session& session)
{
    const MutexLock lock(mutex);
    const auto closed = sessions.Take(session.handle);
    if (closed == nullptr) {
        return false;
    }
    closed->open = false;
    const auto count = counts.find(Place(closed->card.card, closed->slot));
    count->second.readWrite -= closed->readWrite ? 1U : 0U;
    if (--count->second.all == 0) {
        counts.erase(count);
    }
    return true;
}

void Sessions::CloseOfSlot(CK_SLOT_ID slot)
{
    for (const auto& session : OfSlot(slot)) {
        Close(*session);
    }
}

template <typename Condition>
std::vector<std::shared_ptr<Session>> Sessions::OfPlaces(Condition condition) const
{
    const MutexLock lock(mutex);
    std::vector<std::shared_ptr<Session>> found;
    for (const auto& one : counts) {
        if (condition(one.first)) {
            const auto members = sessions.OfGroup(one.first);
            found.insert(found.end(), members.begin(), members.end());
        }
    }
    return found;
}

std::vector<std::shared_ptr<Session>> Sessions::OfSlot(CK_SLOT_ID slot) const
{
    return OfPlaces([slot](const Place& place) { return place.second == slot; });
}

std::vector<std::shared_ptr<Session>> Sessions::OfCard(packed::CK_SLOT_ID card) const
{
    return OfPlaces([card](const Place& place) { return place.first == card; });
}

SessionCounts Sessions::Count(CK_SLOT_ID slot) const
{
    const MutexLock lock(mutex);
    SessionCounts sum;
    for (const auto& [place, count] : counts) {
        if (place.second == slot) {
            sum.all += count.all;
            sum.readWrite += count.readWrite;
        }
    }
    return sum;
}

} // namespace front
