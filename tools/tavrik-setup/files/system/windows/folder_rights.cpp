#include "tools/tavrik-setup/files/system/windows/folder_rights.h"

#include "softcard/base/text.h"
#include "softcard/system/windows/local_memory.h"
#include "softcard/system/windows/own_user.h"
#include "tools/tavrik-setup/files/refusal.h"
#include "tools/tavrik-setup/files/system/windows/error_text.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

namespace setup {
namespace {

constexpr DWORD writing =
    FILE_ADD_FILE | FILE_DELETE_CHILD | WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;

// The system's own account, the administrators, and the service that installs Windows.
constexpr const wchar_t* trusted[] = {L"S-1-5-18", L"S-1-5-32-544",
                                      L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464"};

struct Rights
{
    softcard::LocalMemory<void> memory; // of the others
    PSID owner = nullptr;
    PACL list = nullptr; // null where everybody may do everything
};

Rights RightsOf(const std::filesystem::path& folder)
{
    Rights rights;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error = GetNamedSecurityInfoW(const_cast<wchar_t*>(folder.c_str()), SE_FILE_OBJECT,
                                              OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                              &rights.owner, nullptr, &rights.list, nullptr, &descriptor);
    rights.memory.reset(descriptor);
    if (error != ERROR_SUCCESS) {
        throw Refusal(softcard::Utf8Of(folder) + ": " + ErrorText(error) + ".");
    }
    return rights;
}

bool IsOwnUser(PSID account)
{
    const auto user = softcard::OwnUser::Find();
    return user && EqualSid(user->Id(), account) != FALSE;
}

bool IsTrusted(PSID account)
{
    for (const wchar_t* name : trusted) {
        PSID known = nullptr;
        if (ConvertStringSidToSidW(name, &known) == FALSE) {
            continue;
        }
        const softcard::LocalMemory<void> memory(known);
        if (EqualSid(known, account) != FALSE) {
            return true;
        }
    }
    return IsOwnUser(account);
}

// Whether an entry of the list lets somebody write who is not trusted. What only those below inherit says nothing of the
// folder.
bool LetsOthersWrite(const ACE_HEADER* entry)
{
    const auto* allowing = reinterpret_cast<const ACCESS_ALLOWED_ACE*>(entry);
    return entry->AceType == ACCESS_ALLOWED_ACE_TYPE && (entry->AceFlags & INHERIT_ONLY_ACE) == 0 &&
           (allowing->Mask & writing) != 0 && !IsTrusted(const_cast<DWORD*>(&allowing->SidStart));
}

} // namespace

bool BelongsToTrusted(const std::filesystem::path& folder)
{
    return IsTrusted(RightsOf(folder).owner);
}

bool OthersCanWrite(const std::filesystem::path& folder)
{
    const Rights rights = RightsOf(folder);
    if (rights.list == nullptr) {
        return true;
    }
    for (DWORD i = 0; i < rights.list->AceCount; ++i) {
        void* entry = nullptr;
        if (GetAce(rights.list, i, &entry) == FALSE ||
            LetsOthersWrite(static_cast<const ACE_HEADER*>(entry))) {
            return true;
        }
    }
    return false;
}

} // namespace setup
