// A session of an application.
#pragma once

#include "front/model/operations.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace front {

struct Session
{
    CK_SESSION_HANDLE handle = 0;
    CK_SLOT_ID slot = 0;
    InnerSlot card; // that was in the slot when the session was opened, and ends with it
    bool readWrite = false;
    std::atomic<bool> open{true};

    // The library's session for the card's work; 0 until there is some, and after the card's login. Set by
    // the call that works with the session and taken away by any, behind the gate both.
    std::atomic<packed::CK_SESSION_HANDLE> inner{0};

    // One call at a time works with what follows.
    std::mutex use;
    std::optional<SearchOperation> search;
    std::optional<DigestOperation> digest;
    std::optional<SignOperation> sign;
    std::optional<VerifyOperation> verify;
    std::optional<EncryptOperation> encrypt;
    std::optional<DecryptOperation> decrypt;
};

// Callers hold the lock of the front.
class SessionTable
{
public:
    std::shared_ptr<Session> Open(CK_SLOT_ID slot, const InnerSlot& card, bool readWrite);
    [[nodiscard]] std::shared_ptr<Session> Find(CK_SESSION_HANDLE handle) const; // null for an unknown one
    // False when it was closed before.
    bool Close(const Session& session);
    void CloseOfSlot(CK_SLOT_ID slot);

    [[nodiscard]] std::vector<std::shared_ptr<Session>> OfSlot(CK_SLOT_ID slot) const;
    [[nodiscard]] std::vector<std::shared_ptr<Session>> OfCard(packed::CK_SLOT_ID card) const;
    [[nodiscard]] bool IsUsed(CK_SLOT_ID slot) const; // whether there is a session in the slot
    [[nodiscard]] CK_ULONG Count(CK_SLOT_ID slot, bool readWriteOnly) const;

private:
    std::map<CK_SESSION_HANDLE, std::shared_ptr<Session>> sessions;
};

} // namespace front
