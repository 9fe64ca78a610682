#include "softcard/system/environment.h"

#include <string>
#include <string_view>

#include <windows.h>

namespace softcard {

// Windows has no such programs.
bool HasBorrowedRights()
{
    return false;
}

std::filesystem::path PathFromEnvironment(const char* variable)
{
    const std::string_view ascii(variable);
    const std::wstring name(ascii.begin(), ascii.end());
    std::wstring value;
    DWORD needed = GetEnvironmentVariableW(name.c_str(), nullptr, 0);
    while (needed > value.size()) { // more than there was room for
        value.resize(needed);
        needed = GetEnvironmentVariableW(name.c_str(), value.data(), needed);
    }
    value.resize(needed);
    return value;
}

} // namespace softcard
