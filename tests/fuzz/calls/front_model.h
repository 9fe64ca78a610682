// What must hold of the front for an application of one thread, whatever its arguments are: which sessions are open, what
// is active in them, what a call may answer then, and that digests and signatures are right.
#pragma once

#include "front/abi/cryptoki.h"
#include "tests/fuzz/calls/call_record.h"
#include "tests/fuzz/calls/card_world.h"
#include "tests/fuzz/calls/used_handles.h"

#include <array>
#include <map>
#include <set>
#include <string>

namespace fuzz {

class FrontModel : public Judge
{
public:
    FrontModel(front::CK_FUNCTION_LIST* functions, const CardWorld& itsWorld) : f(functions), world(itsWorld)
    {
    }

    void NextInput();
    void Called(const CallRecord& call) override;
    void SlotsAre(const std::vector<uint64_t>& slots) override;
    void Restarted() override;

private:
    enum class State
    {
        off,
        on,
        unknown
    };

    struct Activity
    {
        State state = State::off;
        State multiPart = State::off;
        uint64_t mechanism = 0;
        Bytes message;
        uint64_t needed = 0; // the length that was told, 0 before
        Bytes modulus;       // of the key that signs
        Bytes exponent;
    };

    struct Session
    {
        uint64_t slot = 0;
        State open = State::on;
        bool wasLoggedIn = false;
        std::set<uint64_t> objects;          // that it has made
        std::set<uint64_t> goneBeforeSearch; // a search finds what there is at its start
        std::array<Activity, operationCount> activities;
    };

    // Ends the process with the call and what came before it when the rule is broken.
    void Rule(bool holds, const CallRecord& call, const char* rule) const;
    void CheckHandle(const CallRecord& call);
    void Opened(const CallRecord& call);
    void Closed(uint64_t handle);
    void CheckOperation(const CallRecord& call, Session& session);
    void Began(const CallRecord& call, Activity& activity);
    void Worked(const CallRecord& call, Activity& activity);
    void CheckResult(const CallRecord& call, const Activity& activity) const;
    void CheckObjects(const CallRecord& call, Session& session);
    void Cancelled(const CallRecord& call, Session& session) const;
    // A login or its end takes what private keys have begun with it.
    void LookAtLogins(bool mayBeNew);
    [[nodiscard]] bool IsLoggedIn(uint64_t session) const;
    [[nodiscard]] Bytes Read(uint64_t session, uint64_t object, uint64_t type) const;

    front::CK_FUNCTION_LIST* f;
    const CardWorld& world;
    std::map<uint64_t, Session> sessions;
    std::set<uint64_t> present;
    std::set<uint64_t> goneObjects;
    UsedHandles usedSessions;
    UsedHandles usedObjects;
    std::string history; // a line for each call and each look at the slots
    std::string earlierHistory;
};

} // namespace fuzz
