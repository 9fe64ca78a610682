#include "tests/fuzz/calls/front_model.h"

#include "tests/fuzz/calls/check.h"
#include "tests/fuzz/calls/results.h"

#include <botan/hash.h>
#include <botan/pubkey.h>
#include <botan/rsa.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

namespace fuzz {
namespace {

// Botan's name of the hash of a mechanism; null for one that has none.
const char* HashOf(uint64_t mechanism)
{
    switch (mechanism) {
    case CKM_SHA_1:
    case CKM_SHA1_RSA_PKCS:
        return "SHA-1";
    case CKM_SHA224:
    case CKM_SHA224_RSA_PKCS:
        return "SHA-224";
    case CKM_SHA256:
    case CKM_SHA256_RSA_PKCS:
        return "SHA-256";
    case CKM_SHA384:
    case CKM_SHA384_RSA_PKCS:
        return "SHA-384";
    case CKM_SHA512:
    case CKM_SHA512_RSA_PKCS:
        return "SHA-512";
    default:
        return nullptr;
    }
}

bool IsDigestRight(uint64_t mechanism, const Bytes& message, const Bytes& digest)
{
    const auto right = Botan::HashFunction::create_or_throw(HashOf(mechanism))->process(message);
    return Bytes(right.begin(), right.end()) == digest;
}

bool IsSignatureRight(const Bytes& modulus, const Bytes& exponent, uint64_t mechanism, const Bytes& message,
                      const Bytes& signature)
{
    const Botan::RSA_PublicKey key{Botan::BigInt(modulus), Botan::BigInt(exponent)};
    const char* hash = HashOf(mechanism);
    const std::string padding = hash == nullptr ? "EMSA3(Raw)" : std::string("EMSA3(") + hash + ")";
    Botan::PK_Verifier verifier(key, padding);
    return verifier.verify_message(message, signature);
}

bool IsWithoutSession(Function function)
{
    switch (function) {
    case Function::C_GetInfo:
    case Function::C_Initialize:
    case Function::C_Finalize:
    case Function::C_GetSlotList:
    case Function::C_GetSlotInfo:
    case Function::C_GetTokenInfo:
    case Function::C_GetMechanismList:
    case Function::C_GetMechanismInfo:
    case Function::C_OpenSession:
    case Function::C_CloseAllSessions:
    case Function::C_WaitForSlotEvent:
    case Function::C_GetInterfaceList:
    case Function::C_GetInterface:
        return true;
    default:
        return false;
    }
}

bool IsLogin(const CallRecord& call)
{
    return call.function == Function::C_Login || call.function == Function::C_LoginUser;
}

bool OnlyRefuses(const CallRecord& call)
{
    return call.result == CKR_FUNCTION_NOT_PARALLEL ||
           (call.result == CKR_FUNCTION_NOT_SUPPORTED && !IsLogin(call));
}

// What C_SessionCancel calls the operations.
struct NamedOperation
{
    uint64_t flag;
    Operation operation;
};
constexpr NamedOperation cancelledOperations[] = {
    {CKF_FIND_OBJECTS, Operation::search}, {CKF_DIGEST, Operation::digest},
    {CKF_SIGN, Operation::sign},           {CKF_VERIFY, Operation::verify},
    {CKF_ENCRYPT, Operation::encrypt},     {CKF_DECRYPT, Operation::decrypt}};

std::size_t Index(Operation operation)
{
    return static_cast<std::size_t>(operation);
}

} // namespace

void FrontModel::NextInput()
{
    earlierHistory = std::move(history);
    history.clear();
    sessions.clear();
    present.clear();
    goneObjects.clear();
    usedSessions.NextInput();
    usedObjects.NextInput();
}

void FrontModel::Restarted()
{
    for (auto& [handle, session] : sessions) {
        goneObjects.insert(session.objects.begin(), session.objects.end());
    }
    sessions.clear();
}

void FrontModel::SlotsAre(const std::vector<uint64_t>& slots)
{
    present = std::set<uint64_t>(slots.begin(), slots.end());
    history.append(world.TellsWildEvents() ? "Slots, after events without reason:" : "Slots:");
    for (const uint64_t slot : slots) {
        history.append(" ").append(std::to_string(slot));
    }
    history.append("\n");
    for (auto& [handle, session] : sessions) {
        if (!present.contains(session.slot)) {
            Closed(handle);
        } else if (world.TellsWildEvents() && session.open == State::on) {
            session.open = State::unknown;
        }
    }
}

// The input alone does not tell why a rule is broken that an earlier input or the moment of an event has a part in.
void FrontModel::Rule(bool holds, const CallRecord& call, const char* rule) const
{
    if (!holds) {
        static_cast<void>(std::fprintf(stderr, "Earlier input:\n%sThis input:\n%s", earlierHistory.c_str(),
                                       history.c_str()));
    }
    Check(holds, NameOf(call.function), rule, call.result);
}

void FrontModel::Called(const CallRecord& call)
{
    history.append(NameOf(call.function)).append(" of ").append(std::to_string(call.session));
    history.append(" gave ").append(std::to_string(call.handle)).append(" and answered ");
    history.append(std::to_string(call.result)).append("\n");
    CheckFrontResult(call, world.Throws());
    if (call.function == Function::C_OpenSession) {
        Opened(call);
        return;
    }
    if (call.function == Function::C_CloseAllSessions && call.result == CKR_OK) {
        for (auto& [handle, session] : sessions) {
            if (session.slot == call.session) {
                Closed(handle);
            }
        }
        LookAtLogins(false);
        return;
    }
    if (IsWithoutSession(call.function)) {
        Rule(call.result == CKR_OK || call.untouched, call, "writes nothing when it fails");
        return;
    }
    if (OnlyRefuses(call)) {
        return;
    }
    CheckHandle(call);
    const auto found = sessions.find(call.session);
    if (found == sessions.end() || found->second.open == State::off) {
        return;
    }
    Session& session = found->second;
    if (call.function == Function::C_CloseSession && call.result == CKR_OK) {
        Closed(call.session);
        LookAtLogins(false);
        return;
    }
    if (call.result == CKR_DEVICE_REMOVED) {
        session.open = State::unknown; // the card went during the call
    }
    CheckObjects(call, session);
    if (call.operation != Operation::none) {
        CheckOperation(call, session);
    }
    if (call.function == Function::C_SessionCancel) {
        Cancelled(call, session);
    }
    if (call.function == Function::C_LoginUser) {
        Rule(!call.lengthGiven || call.result == CKR_ARGUMENTS_BAD ||
                 call.result == CKR_SESSION_HANDLE_INVALID,
             call, "takes no user's name");
    }
    const bool asksCard = IsLogin(call) || call.function == Function::C_Logout ||
                          call.operation == Operation::sign || call.operation == Operation::decrypt;
    if (asksCard) {
        LookAtLogins(IsLogin(call) && call.result == CKR_OK);
    }
}

void FrontModel::CheckHandle(const CallRecord& call)
{
    const auto found = sessions.find(call.session);
    const State open = found == sessions.end() ? State::off : found->second.open;
    const bool refused = call.result == CKR_SESSION_HANDLE_INVALID;
    Rule(open != State::off || refused, call, "refuses a session that is not open");
    Rule(open != State::on || !refused, call, "takes a session that is open");
    if (open == State::unknown) {
        refused ? Closed(call.session) : static_cast<void>(found->second.open = State::on);
    }
}

void FrontModel::Opened(const CallRecord& call)
{
    Rule((call.result == CKR_OK) != call.untouched, call,
         "gives a handle when it opens a session, and only then");
    if (call.result != CKR_OK) {
        return;
    }
    Rule(call.handle != 0 && usedSessions.Add(call.handle), call, "gives no handle twice");
    Rule(present.contains(call.session) || world.TellsWildEvents(), call, "opens sessions with cards alone");
    Session session;
    session.slot = call.session;
    sessions[call.handle] = session;
}

void FrontModel::Closed(uint64_t handle)
{
    Session& session = sessions[handle];
    session.open = State::off;
    goneObjects.insert(session.objects.begin(), session.objects.end());
    session.objects.clear();
}

void FrontModel::CheckObjects(const CallRecord& call, Session& session)
{
    if (call.function == Function::C_CreateObject) {
        Rule((call.result == CKR_OK) != call.untouched, call,
             "gives a handle when it makes an object, and only then");
        if (call.result == CKR_OK) {
            Rule(call.handle != 0 && usedObjects.Add(call.handle), call, "gives no handle twice");
            session.objects.insert(call.handle);
        }
    }
    const bool namesGone = goneObjects.contains(call.key);
    if (call.function == Function::C_DestroyObject && call.result == CKR_OK) {
        Rule(!namesGone, call, "knows no object that has gone");
        goneObjects.insert(call.key);
    }
    if (call.function == Function::C_CopyObject) {
        Rule(call.untouched, call, "writes nothing when it fails");
        Rule(!namesGone || call.result != CKR_ACTION_PROHIBITED, call, "knows no object that has gone");
    }
    if (call.function == Function::C_GetAttributeValue || call.function == Function::C_GetObjectSize) {
        Rule(!namesGone || call.result != CKR_OK, call, "knows no object that has gone");
    }
    if (call.function == Function::C_FindObjectsInit && call.result == CKR_OK) {
        session.goneBeforeSearch = goneObjects;
    }
    for (const uint64_t object : call.handles) {
        Rule(object != 0 && !session.goneBeforeSearch.contains(object), call, "finds objects that there are");
    }
}

// No other thread has the card work.
void FrontModel::Cancelled(const CallRecord& call, Session& session) const
{
    Rule(call.result == CKR_OK || call.result == CKR_SESSION_HANDLE_INVALID, call,
         "cancels what nobody works for");
    for (const auto& [flag, operation] : cancelledOperations) {
        if (call.result == CKR_OK && (call.key & flag) != 0) {
            session.activities[Index(operation)] = {};
        }
    }
}

void FrontModel::CheckOperation(const CallRecord& call, Session& session)
{
    Activity& activity = session.activities[Index(call.operation)];
    if (call.result == CKR_SESSION_HANDLE_INVALID) {
        return;
    }
    if (call.step == Step::begin) {
        Began(call, activity);
    } else {
        Worked(call, activity);
    }
}

void FrontModel::Began(const CallRecord& call, Activity& activity)
{
    if (call.result == CKR_OPERATION_ACTIVE) {
        Rule(activity.state != State::off, call, "says that an operation is active when there is one");
        activity.state = State::on;
        return;
    }
    if (call.result != CKR_OK) {
        return;
    }
    Rule(activity.state != State::on, call, "begins no second operation");
    activity = {};
    activity.state = State::on;
    activity.mechanism = call.mechanism.value_or(0);
    if (call.operation == Operation::sign) {
        activity.modulus = Read(call.session, call.key, CKA_MODULUS);
        activity.exponent = Read(call.session, call.key, CKA_PUBLIC_EXPONENT);
    }
}

void FrontModel::Worked(const CallRecord& call, Activity& activity)
{
    if (call.result == CKR_OPERATION_NOT_INITIALIZED) {
        const bool afterParts = call.step == Step::whole && activity.multiPart != State::off;
        Rule(activity.state != State::on || afterParts, call, "knows an operation that is active");
        activity.state = afterParts && activity.state == State::on ? State::on : State::off;
        Rule(call.untouched, call, "writes nothing when it fails");
        return;
    }
    Rule(activity.state != State::off, call, "works for an operation that was begun alone");
    if (call.operation == Operation::search) {
        activity.state = call.step == Step::end && call.result == CKR_OK ? State::off : State::on;
        Rule(call.result == CKR_OK || call.untouched, call, "writes nothing when it fails");
        return;
    }
    Rule(call.step != Step::whole || activity.multiPart != State::on, call, "takes no whole after parts");
    if (call.step == Step::part) {
        activity.multiPart = State::on;
        activity.state = call.result == CKR_OK ? State::on : State::off;
        activity.message.insert(activity.message.end(), call.data.begin(), call.data.end());
        return;
    }
    if (call.result == CKR_BUFFER_TOO_SMALL) {
        Rule(call.bufferGiven && call.lengthGiven && call.told > call.room, call,
             "finds a buffer too small that is smaller than what it tells");
        Rule(call.untouched, call, "writes nothing into a buffer that is too small");
        // Another block may be decrypted to more.
        Rule(call.operation == Operation::decrypt || activity.needed == 0 || call.told == activity.needed,
             call, "tells the same length again");
        activity.needed = call.told;
        activity.state = State::on;
        return;
    }
    const bool gives = call.operation != Operation::verify;
    if (call.result == CKR_OK && gives && !call.bufferGiven) {
        activity.needed = call.told;
        activity.state = State::on; // a question of length
        return;
    }
    Rule(call.untouched, call, "writes what it tells and no more, and nothing when it fails");
    if (call.result == CKR_OK && activity.state == State::on) {
        Rule(call.operation == Operation::decrypt || activity.needed == 0 || call.told <= activity.needed,
             call, "gives no more than it told before");
        CheckResult(call, activity);
    }
    activity.state = State::off;
}

void FrontModel::CheckResult(const CallRecord& call, const Activity& activity) const
{
    Bytes message = activity.message;
    message.insert(message.end(), call.data.begin(), call.data.end());
    if (call.operation == Operation::digest) {
        Rule(IsDigestRight(activity.mechanism, message, call.output), call,
             "gives the digest of what it was given");
    }
    if (call.operation == Operation::sign) {
        Rule(IsSignatureRight(activity.modulus, activity.exponent, activity.mechanism, message, call.output),
             call, "gives the signature of what it was given");
    }
}

void FrontModel::LookAtLogins(bool mayBeNew)
{
    for (auto& [handle, session] : sessions) {
        if (session.open != State::on) {
            continue;
        }
        const bool isLoggedIn = IsLoggedIn(handle);
        const bool ended = session.wasLoggedIn && !isLoggedIn;
        for (const Operation operation :
             {Operation::sign, Operation::decrypt, Operation::verify, Operation::encrypt}) {
            Activity& activity = session.activities[Index(operation)];
            const bool isPrivate = operation == Operation::sign || operation == Operation::decrypt;
            if (activity.state == State::on && (ended || mayBeNew)) {
                activity.state = ended && isPrivate ? State::off : State::unknown;
            }
        }
        session.wasLoggedIn = isLoggedIn;
    }
}

bool FrontModel::IsLoggedIn(uint64_t session) const
{
    front::CK_SESSION_INFO info{};
    return f->C_GetSessionInfo(session, &info) == CKR_OK &&
           (info.state == CKS_RO_USER_FUNCTIONS || info.state == CKS_RW_USER_FUNCTIONS);
}

Bytes FrontModel::Read(uint64_t session, uint64_t object, uint64_t type) const
{
    Bytes value(2048);
    front::CK_ATTRIBUTE record{type, value.data(), value.size()};
    const bool told = f->C_GetAttributeValue(session, object, &record, 1) == CKR_OK;
    value.resize(told ? record.ulValueLen : 0);
    return value;
}

} // namespace fuzz
