#include "front/model/session.h"

#include <algorithm>

namespace front {
namespace {

CK_SESSION_HANDLE lastSessionHandle = 0; // of the process, so that no handle comes twice

} // namespace

std::shared_ptr<Session> SessionTable::Open(CK_SLOT_ID slot, const InnerSlot& card, bool readWrite)
{
    auto session = std::make_shared<Session>();
    session->handle = ++lastSessionHandle;
    session->slot = slot;
    session->card = card;
    session->readWrite = readWrite;
    sessions[lastSessionHandle] = session;
    return session;
}

std::shared_ptr<Session> SessionTable::Find(CK_SESSION_HANDLE handle) const
{
    const auto found = sessions.find(handle);
    return found == sessions.end() ? nullptr : found->second;
}

bool SessionTable::Close(const Session& session)
{
    const auto found = sessions.find(session.handle);
    if (found == sessions.end()) {
        return false;
    }
    found->second->open = false;
    sessions.erase(found);
    return true;
}

void SessionTable::CloseOfSlot(CK_SLOT_ID slot)
{
    for (const auto& session : OfSlot(slot)) {
        Close(*session);
    }
}

std::vector<std::shared_ptr<Session>> SessionTable::OfSlot(CK_SLOT_ID slot) const
{
    std::vector<std::shared_ptr<Session>> found;
    for (const auto& one : sessions) {
        if (one.second->slot == slot) {
            found.push_back(one.second);
        }
    }
    return found;
}

std::vector<std::shared_ptr<Session>> SessionTable::OfCard(packed::CK_SLOT_ID card) const
{
    std::vector<std::shared_ptr<Session>> found;
    for (const auto& one : sessions) {
        if (one.second->card.card == card) {
            found.push_back(one.second);
        }
    }
    return found;
}

bool SessionTable::IsUsed(CK_SLOT_ID slot) const
{
    return std::any_of(sessions.begin(), sessions.end(),
                       [slot](const auto& one) { return one.second->slot == slot; });
}

CK_ULONG SessionTable::Count(CK_SLOT_ID slot, bool readWriteOnly) const
{
    return static_cast<CK_ULONG>(std::count_if(sessions.begin(), sessions.end(), [&](const auto& one) {
        return one.second->slot == slot && (one.second->readWrite || !readWriteOnly);
    }));
}

} // namespace front
