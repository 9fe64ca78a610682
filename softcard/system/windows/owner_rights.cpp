// SYSTEM and the administrators have no entry, as root needs none on Linux: their backup programs read past all
// entries, by a privilege, and an administrator can take a file over.
#include "softcard/system/windows/owner_rights.h"

#include "softcard/system/windows/handle.h"
#include "softcard/system/windows/last_error.h"
#include "softcard/system/windows/local_memory.h"

#include <cstddef>
#include <string>
#include <vector>

#include <sddl.h>

namespace softcard {
namespace {

// The user of the process, as text. An elevated process owns its files in the name of the administrators unless it
// is told whose they are.
std::wstring OwnUser(const std::filesystem::path& path)
{
    HANDLE opened = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened) == FALSE) {
        ThrowLastError(path);
    }
    const Handle token = Own(opened);
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
    std::vector<std::max_align_t> memory(size / sizeof(std::max_align_t) + 1);
    wchar_t* text = nullptr;
    if (GetTokenInformation(token.get(), TokenUser, memory.data(), size, &size) == FALSE ||
        ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(memory.data())->User.Sid, &text) ==
            FALSE) {
        ThrowLastError(path);
    }
    return LocalMemory<wchar_t>(text).get();
}

// All access for the user and none for anybody else; nothing comes from the folder above.
LocalMemory<void> Describe(const std::filesystem::path& path, const std::wstring& inheritance)
{
    const std::wstring user = OwnUser(path);
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
