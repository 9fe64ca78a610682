// SYSTEM and the administrators have no entry, as root needs none on Linux: their backup programs read past all
// entries, by a privilege, and an administrator can take a file over.
#include "softcard/system/windows/owner_rights.h"

#include "softcard/system/windows/last_error.h"
#include "softcard/system/windows/local_memory.h"
#include "softcard/system/windows/own_user.h"

#include <string>

#include <sddl.h>

namespace softcard {
namespace {

std::wstring TextOfOwnUser(const std::filesystem::path& path)
{
    const auto user = OwnUser::Find();
    wchar_t* text = nullptr;
    if (!user || ConvertSidToStringSidW(user->Id(), &text) == FALSE) {
        ThrowLastError(path);
    }
    return LocalMemory<wchar_t>(text).get();
}

// All access for the user and none for anybody else; nothing comes from the folder above. The owner is named since an elevated
// process owns its files in the name of the administrators otherwise.
LocalMemory<void> Describe(const std::filesystem::path& path, const std::wstring& inheritance)
{
    const std::wstring user = TextOfOwnUser(path);
    const std::wstring text = L"O:" + user + L"D:P(A;" + inheritance + L";FA;;;" + user + L")";
    void* descriptor = nullptr;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &descriptor,
                                                             nullptr) == FALSE) {
        ThrowLastError(path);
    }
    return LocalMemory<void>(descriptor);
}

SECURITY_ATTRIBUTES Attributes(void* descriptor)
{
    return {sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
}

} // namespace

// Never destroyed: a thread of the host can outlast its static objects.
SECURITY_ATTRIBUTES OwnFileRights(const std::filesystem::path& path)
{
    static void* const descriptor = Describe(path, L"").release();
    return Attributes(descriptor);
}

SECURITY_ATTRIBUTES OwnFolderRights(const std::filesystem::path& path)
{
    static void* const descriptor = Describe(path, L"OICI").release();
    return Attributes(descriptor);
}

} // namespace softcard
