#include "front/library/library.h"

#include "front/abi/records.h"
#include "front/abi/refusal.h"
#include "front/library/library_mutex.h"
#include "front/system/library_file.h"
#include "front/system/own_folder.h"

#include "src/platform/never_destroyed.h"
#include "src/platform/process_end.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <mutex>
#include <new>
#include <utility>

namespace front {
namespace {

constexpr std::size_t newSlots = 16; // that come at once, at most, but for a rare case

// The card has keys of up to 1024 bytes, and the library writes no more than a modulus; it is told no size.
constexpr std::size_t outputCapacity = 2048;

// The process ends, and the library with it: on another thread it may be at work in its last steps, and must not be let go
// of.
std::atomic<bool> endOfProcess{false};

void NoteEndOfProcess()
{
    endOfProcess = true;
}

// What the library answers when an object is asked for an attribute.
enum class Answer
{
    stored,
    unavailable,
    invalid
};

struct ReadAttribute
{
    packed::CK_ATTRIBUTE_TYPE type;
    Answer ofCertificate;
    Answer ofKey;
};

constexpr ReadAttribute readAttributes[] = {
#define ATTRIBUTE(type, value, certificate, key, ...) {type, Answer::certificate, Answer::key},
#include "src/cryptoki/attributes.inc"
};

packed::CK_ULONG Narrow(std::size_t length)
{
    Require(length <= std::numeric_limits<int32_t>::max(), CKR_DATA_LEN_RANGE);
    return static_cast<packed::CK_ULONG>(length);
}

packed::CK_MECHANISM RsaPkcs()
{
    return {CKM_RSA_PKCS, nullptr, 0};
}

struct OperationInput
{
    packed::CK_SESSION_HANDLE session;
    packed::CK_OBJECT_HANDLE key;
    const Bytes& data;
};

// An operation of the card from its start to its end.
template <typename Begin, typename Finish>
CK_RV RunOperation(Begin* begin, Finish* finish, const OperationInput& input, Bytes& output)
{
    auto mechanism = RsaPkcs();
    const CK_RV begun = begin(input.session, &mechanism, input.key);
    if (begun != CKR_OK) {
        return begun;
    }
    Bytes handed = input.data;
    output.resize(outputCapacity);
    auto length = Narrow(output.size());
    const PauseOfWork pause; // for a dialog
    const CK_RV result = finish(input.session, handed.data(), Narrow(handed.size()), output.data(), &length);
    output.resize(result == CKR_OK ? length : 0);
    return result;
}

} // namespace

Library& Library::Instance()
{
    static NeverDestroyed<Library> library;
    return library.Get();
}

bool Library::Load()
{
    for (const auto& folder : OwnFolders()) {
        if (handle == nullptr) {
            handle = LoadLibraryFile(folder);
        }
    }
    if (handle == nullptr) {
        return false;
    }
    using GetFunctionList = packed::CK_RV(packed::CK_FUNCTION_LIST_PTR_PTR);
    auto* getFunctionList = reinterpret_cast<GetFunctionList*>(FindFunction(handle, "C_GetFunctionList"));
    return getFunctionList != nullptr && getFunctionList(&functions) == CKR_OK;
}

CK_RV Library::Start()
{
    if (inherited) {
        static_cast<void>(End());
    }
    if (functions == nullptr && !Load()) {
        return CKR_GENERAL_ERROR;
    }
    auto arguments = LibraryMutexArguments();
    const CK_RV started = functions->C_Initialize(&arguments);
    running = started == CKR_OK;
    if (running && !toldOfEnd) {
        toldOfEnd = std::atexit(NoteEndOfProcess) == 0; // comes before what the library has for the end
    }
    return started == CKR_CRYPTOKI_ALREADY_INITIALIZED ? CKR_GENERAL_ERROR : started;
}

CK_RV Library::End()
{
    running = false;
    inherited = false;
    const CK_RV ended = functions->C_Finalize(nullptr);
    if (ended != CKR_OK && !endOfProcess) {
        Unload();
    }
    return ended;
}

void Library::Unload()
{
    if (handle != nullptr) {
        functions = nullptr;
        toldOfEnd = false;
        UnloadLibraryFile(std::exchange(handle, nullptr));
    }
}

void Library::AfterFork()
{
    inherited = inherited || running;
    running = false;
    new (&asking) std::shared_mutex; // the parent's is held for the fork
    RenewLibraryMutex();
}

CK_INFO Library::Info() const
{
    packed::CK_INFO info{};
    Require(functions->C_GetInfo(&info) == CKR_OK, CKR_GENERAL_ERROR);
    return Widen(info);
}

bool Library::HasOtherSlots(const std::vector<packed::CK_SLOT_ID>& known) const
{
    const std::shared_lock lock(asking);
    const WithoutLibraryMutex passing;
    packed::CK_SLOT_INFO info{};
    return CountSlots() != known.size() ||
           !std::all_of(known.begin(), known.end(), [&](auto slot) { return Shows(slot, info); });
}

bool Library::HasSlot(packed::CK_SLOT_ID slot) const
{
    const std::shared_lock lock(asking);
    const WithoutLibraryMutex passing;
    packed::CK_SLOT_INFO info{};
    return Shows(slot, info);
}

std::vector<packed::CK_SLOT_ID> Library::Slots(std::size_t expected) const
{
    const std::shared_lock lock(asking);
    const WithoutLibraryMutex passing;
    // A list that does not fit leaves an error in the log.
    std::vector<packed::CK_SLOT_ID> slots((expected == 0 ? CountSlots() : expected) + newSlots);
    while (true) {
        auto count = static_cast<packed::CK_ULONG>(slots.size());
        const CK_RV listed = functions->C_GetSlotList(CK_TRUE, slots.data(), &count);
        Require(listed == CKR_OK || listed == CKR_BUFFER_TOO_SMALL, CKR_GENERAL_ERROR);
        slots.resize(count);
        if (listed == CKR_OK) {
            return slots;
        }
    }
}

packed::CK_ULONG Library::CountSlots() const
{
    packed::CK_ULONG count = 0;
    Require(functions->C_GetSlotList(CK_TRUE, nullptr, &count) == CKR_OK, CKR_GENERAL_ERROR);
    return count;
}

std::optional<CK_SLOT_INFO> Library::SlotInfo(packed::CK_SLOT_ID slot) const
{
    const std::shared_lock lock(asking);
    const WithoutLibraryMutex passing;
    packed::CK_SLOT_INFO info{};
    return Shows(slot, info) ? std::optional(Widen(info)) : std::nullopt;
}

bool Library::Shows(packed::CK_SLOT_ID slot, packed::CK_SLOT_INFO& info) const
{
    return functions->C_GetSlotInfo(slot, &info) == CKR_OK;
}

bool Library::Describe(SlotFacts& facts) const
{
    const WithoutLibraryMutex passing;
    const packed::CK_SLOT_ID slot = facts.librarySlot.id;
    packed::CK_TOKEN_INFO tokenInfo{};
    std::array<packed::CK_MECHANISM_TYPE, 16> listed{};
    auto count = static_cast<packed::CK_ULONG>(listed.size());
    if (functions->C_GetTokenInfo(slot, &tokenInfo) != CKR_OK ||
        functions->C_GetMechanismList(slot, listed.data(), &count) != CKR_OK) {
        return false;
    }
    packed::CK_MECHANISM_INFO rsa{};
    if (functions->C_GetMechanismInfo(slot, CKM_RSA_PKCS, &rsa) != CKR_OK) {
        return false;
    }
    const auto* end = listed.data() + count;
    // A key whose record could not be read is listed as of neither kind for as long as its card is in.
    facts.rsa = std::find<const packed::CK_MECHANISM_TYPE*>(listed.data(), end, CKM_ECDSA) == end;
    facts.token = Widen(tokenInfo);
    facts.keyBits = rsa.ulMaxKeySize;
    return true;
}

packed::CK_SESSION_HANDLE Library::OpenSession(packed::CK_SLOT_ID slot) const
{
    packed::CK_SESSION_HANDLE session = 0;
    try {
        Require(functions->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session) == CKR_OK,
                CKR_DEVICE_REMOVED);
    } catch (...) {
        CloseSession(session); // a failure can leave one behind
        throw;
    }
    return session;
}

void Library::CloseSession(packed::CK_SESSION_HANDLE session) const noexcept
{
    try {
        static_cast<void>(functions->C_CloseSession(session)); // the card may have taken it away already
    } catch (...) {
        return; // the library lets go of a session before it calls the card
    }
}

CK_RV Library::Login(packed::CK_SESSION_HANDLE session, CK_USER_TYPE user, const CK_UTF8CHAR* code,
                     CK_ULONG length) const
{
    const PauseOfWork pause; // for a dialog
    // The library takes a pointer to what it doesn't change.
    return functions->C_Login(session, static_cast<packed::CK_USER_TYPE>(user),
                              const_cast<CK_UTF8CHAR*>(code), code == nullptr ? 0 : Narrow(length));
}

void Library::Logout(packed::CK_SESSION_HANDLE session) const
{
    static_cast<void>(functions->C_Logout(session)); // a card that has gone is logged out
}

std::vector<packed::CK_OBJECT_HANDLE> Library::Objects(packed::CK_SESSION_HANDLE session) const
{
    Require(functions->C_FindObjectsInit(session, nullptr, 0) == CKR_OK, CKR_DEVICE_REMOVED);
    std::vector<packed::CK_OBJECT_HANDLE> objects;
    std::array<packed::CK_OBJECT_HANDLE, 16> some{};
    packed::CK_ULONG count = 0;
    do {
        const CK_RV found = functions->C_FindObjects(session, some.data(), some.size(), &count);
        Require(found == CKR_OK, CKR_DEVICE_REMOVED);
        objects.insert(objects.end(), some.data(), some.data() + count);
    } while (count > 0);
    static_cast<void>(functions->C_FindObjectsFinal(session));
    return objects;
}

Attributes Library::Read(packed::CK_SESSION_HANDLE session, packed::CK_OBJECT_HANDLE object) const
{
    Attributes attributes;
    for (const auto& [type, ofCertificate, ofKey] : readAttributes) {
        if (ofCertificate != Answer::stored && ofKey != Answer::stored) {
            continue;
        }
        // One at a time: the library stops at the first that an object doesn't have.
        packed::CK_ATTRIBUTE record{type, nullptr, 0};
        const CK_RV asked = functions->C_GetAttributeValue(session, object, &record, 1);
        if (asked != CKR_OK || record.ulValueLen > longestValue) {
            continue;
        }
        Bytes value(record.ulValueLen + 1); // never without an address
        record.pValue = value.data();
        if (functions->C_GetAttributeValue(session, object, &record, 1) == CKR_OK) {
            value.resize(record.ulValueLen);
            attributes[type] = WidenValue(type, std::move(value));
        }
    }
    return attributes;
}

CK_RV Library::Sign(packed::CK_SESSION_HANDLE session, packed::CK_OBJECT_HANDLE key, const Bytes& data,
                    Bytes& output) const
{
    return RunOperation(functions->C_SignInit, functions->C_Sign, {session, key, data}, output);
}

CK_RV Library::Decrypt(packed::CK_SESSION_HANDLE session, packed::CK_OBJECT_HANDLE key, const Bytes& data,
                       Bytes& output) const
{
    return RunOperation(functions->C_DecryptInit, functions->C_Decrypt, {session, key, data}, output);
}

} // namespace front
