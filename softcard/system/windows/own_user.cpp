#include "softcard/system/windows/own_user.h"

#include "softcard/system/windows/handle.h"

namespace softcard {

std::optional<OwnUser> OwnUser::Find()
{
    HANDLE opened = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened) == FALSE) {
        return std::nullopt;
    }
    const Handle token = Own(opened);
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
    OwnUser user(size);
    if (GetTokenInformation(token.get(), TokenUser, user.memory.data(), size, &size) == FALSE) {
        return std::nullopt;
    }
    return user;
}

} // namespace softcard
