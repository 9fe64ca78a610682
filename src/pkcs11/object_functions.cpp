// The functions that show objects to the application. Nothing can be changed; the one object that can be made
// is an RSA public key, for operations in software.
#include "src/cryptoki/names.h"
#include "src/log/logger.h"
#include "src/operations/key_attributes.h"
#include "src/pkcs11/entry_frame.h"
#include "src/readers/slot_objects.h"
#include "src/store/internal_cache.h"

#include <algorithm>
#include <vector>

namespace {

constexpr std::size_t requestTextSize = 1024;

// The first record of a type that points to a value; null when there is none.
const CK_ATTRIBUTE* FindGiven(const CK_ATTRIBUTE* records, CK_ULONG count, CK_ATTRIBUTE_TYPE type)
{
    const auto* end = records + count;
    const auto* found =
        std::find_if(records, end, [type](const CK_ATTRIBUTE& record) { return record.type == type; });
    return found == end || found->pValue == nullptr ? nullptr : found;
}

// Copies the value of a record into a field of a key record. False when the field is too small for it.
template <std::size_t capacity>
bool CopyIntoField(const CK_ATTRIBUTE& record, uint8_t (&field)[capacity], uint64_t& length)
{
    if (record.ulValueLen > capacity) {
        return false;
    }
    std::copy_n(static_cast<const uint8_t*>(record.pValue), record.ulValueLen, field);
    length = record.ulValueLen;
    return true;
}

struct PublicKeyRequest
{
    CardKeyInfo keyInfo{};
    CK_BBOOL verify = CK_FALSE;
};

// Reads the three attributes that make a public key; whatever else the template says is ignored. False for a
// template without one of them.
bool ReadPublicKeyTemplate(const CK_ATTRIBUTE* records, CK_ULONG count, PublicKeyRequest& request)
{
    if (records == nullptr || count == 0) {
        return false;
    }
    const auto* exponent = FindGiven(records, count, CKA_PUBLIC_EXPONENT);
    const auto* modulus = FindGiven(records, count, CKA_MODULUS);
    const auto* verify = FindGiven(records, count, CKA_VERIFY);
    if (exponent == nullptr || modulus == nullptr || verify == nullptr) {
        return false;
    }
    CardKeyInfo& keyInfo = request.keyInfo;
    if (!CopyIntoField(*exponent, keyInfo.publicExponent, keyInfo.publicExponentLength) ||
        !CopyIntoField(*modulus, keyInfo.modulus, keyInfo.modulusLength)) {
        return false;
    }
    keyInfo.modulusBits = modulus->ulValueLen * bitsPerByte;
    if (verify->ulValueLen > 0) {
        request.verify = *static_cast<const CK_BBOOL*>(verify->pValue);
    }
    return true;
}

void LogRequest(const char* function, CK_OBJECT_HANDLE object, const CK_ATTRIBUTE* records, CK_ULONG count)
{
    char text[requestTextSize] = {};
    std::size_t used = 0;
    for (CK_ULONG i = 0; i < count && used < sizeof(text); ++i) {
        const int added = FormatInto(text + used, sizeof(text) - used, " %lu %s%s", ForLog(records[i].type),
                                     AttributeName(records[i].type), i + 1 < count ? ", " : "");
        used += static_cast<std::size_t>(std::max(added, 0));
    }
    LOG_LINE(LogLevel_Debug, function, "Object handle 0x%lx, requesting attributes %s", ForLog(object), text);
}

// Writes one attribute into the caller's record: its length in any case, its bytes when there are any and the record
// points to room for them.
void HandOut(const PkcsAttribute& attribute, CK_ATTRIBUTE& record)
{
    const HexBinary& value = *attribute.value;
    if (value.length > 0 && record.pValue != nullptr) {
        std::copy_n(value.data, value.length, static_cast<uint8_t*>(record.pValue));
    }
    record.ulValueLen = static_cast<CK_ULONG>(value.length);
}

// Stops at the first record that the object can't answer, which is left with a length of 0.
CK_RV ReadAttributes(const PkcsObject& object, CK_ATTRIBUTE* records, CK_ULONG count)
{
    for (CK_ULONG i = 0; i < count; ++i) {
        PkcsAttribute attribute(records[i].type);
        const CK_RV result = object.GetAttribute(records[i].type, attribute);
        HandOut(attribute, records[i]);
        if (result != CKR_OK) {
            return result;
        }
    }
    return CKR_OK;
}

// The next handles of a search, at most `room`.
std::vector<CK_OBJECT_HANDLE> TakeNext(FindObjectManager& search, CK_ULONG room)
{
    const auto begin = search.results.begin() + search.cursor;
    const auto count = std::min<std::size_t>(room, static_cast<std::size_t>(search.results.end() - begin));
    search.cursor += static_cast<uint32_t>(count);
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

} // namespace

CK_RV C_CreateObject(CK_SESSION_HANDLE hSession, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount,
                     CK_OBJECT_HANDLE_PTR phObject)
{
    return EntryFrame("C_CreateObject").Run([&] {
        auto& cache = InternalCache::GetInstance();
        const auto session = cache.GetSession(hSession);
        if (session == nullptr) {
            return CKR_SESSION_HANDLE_INVALID;
        }
        if (cache.GetSlot(session->slotId) == nullptr) {
            return CKR_SLOT_ID_INVALID;
        }
        PublicKeyRequest request;
        if (!ReadPublicKeyTemplate(pTemplate, ulCount, request)) {
            return CKR_ATTRIBUTE_TYPE_INVALID;
        }
        *phObject = AddPublicKeyObject(session->slotId, request.keyInfo, request.verify);
        return CKR_OK;
    });
}

CK_RV C_GetAttributeValue(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ATTRIBUTE_PTR pTemplate,
                          CK_ULONG ulCount)
{
    constexpr char function[] = "C_GetAttributeValue";
    EntryFrame frame(function);
    return frame.Require(pTemplate != nullptr || ulCount == 0).Run([&] {
        if (Logger::Instance().LetsThrough(LogLevel_Debug)) {
            LogRequest(function, hObject, pTemplate, ulCount);
        }
        const auto& cache = InternalCache::GetInstance();
        const auto session = cache.GetSession(hSession);
        if (session == nullptr) {
            return CKR_SESSION_HANDLE_INVALID;
        }
        if (cache.GetSlot(session->slotId) == nullptr) {
            return CKR_SLOT_ID_INVALID;
        }
        const auto object = cache.GetObject(hObject); // of any slot, with or without a login
        if (object == nullptr) {
            return CKR_OBJECT_HANDLE_INVALID;
        }
        frame.OmitLeavingLine();
        return ReadAttributes(*object, pTemplate, ulCount);
    });
}

CK_RV C_FindObjectsInit(CK_SESSION_HANDLE hSession, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount)
{
    return EntryFrame("C_FindObjectsInit").RunOnSession(hSession, [&](SessionOperations& operations) {
        FindObjectManager& search = operations.findObjectManager;
        if (search.active) {
            return CKR_OPERATION_ACTIVE;
        }
        search.Reset();
        search.SetFilter(pTemplate, ulCount);
        search.active = true;
        return CKR_OK;
    });
}

CK_RV C_FindObjects(CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE_PTR phObject, CK_ULONG ulMaxObjectCount,
                    CK_ULONG_PTR pulObjectCount)
{
    constexpr char function[] = "C_FindObjects";
    const auto logSession = [&] {
        LOG_LINE(LogLevel_Debug, function, "Find object in session handle 0x%lx", ForLog(hSession));
    };
    return EntryFrame(function).Require(pulObjectCount != nullptr).BeforeLock(logSession).Run([&] {
        *pulObjectCount = 0;
        const auto session = InternalCache::GetInstance().GetSession(hSession);
        if (session == nullptr) {
            return CKR_SESSION_HANDLE_INVALID;
        }
        if (!session->loggedIn) {
            LOG_LINE(LogLevel_Debug, function, "Session is not logged");
            return CKR_OK;
        }
        LOG_LINE(LogLevel_Debug, function, "Going to search objects...");
        FindObjectManager& search = OperationsOf(*session).findObjectManager;
        if (search.results.empty()) {
            search.Search(session->slotId);
        }
        LOG_LINE(LogLevel_Debug, function, "Search objects end");

        const auto found = TakeNext(search, ulMaxObjectCount);
        std::copy(found.begin(), found.end(), phObject);
        *pulObjectCount = static_cast<CK_ULONG>(found.size());
        LOG_LINE(LogLevel_Debug, function, "C_FindObjects found objects: %d", static_cast<int>(found.size()));
        for (const CK_OBJECT_HANDLE handle : found) {
            LOG_LINE(LogLevel_Debug, function, "C_FindObjects found object with handle: 0x%lx",
                     ForLog(handle));
        }
        return CKR_OK;
    });
}

CK_RV C_FindObjectsFinal(CK_SESSION_HANDLE hSession)
{
    return EntryFrame("C_FindObjectsFinal").RunOnSession(hSession, [](SessionOperations& operations) {
        operations.findObjectManager.Reset();
        return CKR_OK;
    });
}
