#include "softcard/cardapi/system/program_path.h"

#include "softcard/system/environment.h"

#include <string>

#include <windows.h>

namespace softcard {

std::filesystem::path UsualPinentry()
{
    return {};
}

// The folder that the host is in is nothing to look in.
std::filesystem::path FindProgram(const std::filesystem::path& name)
{
    if (name.has_parent_path()) {
        return GetFileAttributesW(name.c_str()) == INVALID_FILE_ATTRIBUTES ? std::filesystem::path() : name;
    }
    const std::filesystem::path path = PathFromEnvironment("PATH");
    std::wstring found(MAX_PATH, L'\0');
    auto needed = static_cast<DWORD>(found.size());
    do {
        found.resize(needed);
        needed = path.empty() ? 0
                              : SearchPathW(path.c_str(), name.c_str(), L".exe",
                                            static_cast<DWORD>(found.size()), found.data(), nullptr);
    } while (needed > found.size());
    found.resize(needed);
    return found;
}

} // namespace softcard
