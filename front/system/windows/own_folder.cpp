#include "front/system/own_folder.h"

#include "src/platform/never_destroyed.h"

#include <array>

#include <windows.h>

namespace front {
namespace {

constexpr DWORD longestPath = 1023; // characters

std::vector<std::filesystem::path::string_type> FindOwnFolders()
{
    HMODULE module = nullptr;
    std::array<wchar_t, longestPath + 1> file{};
    if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                               GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<LPCWSTR>(&OwnFolders), &module) == FALSE) {
        return {};
    }
    const DWORD length = GetModuleFileNameW(module, file.data(), static_cast<DWORD>(file.size()));
    const std::filesystem::path own = file.data();
    if (length == 0 || length == file.size() || !own.is_absolute()) {
        return {}; // a path that was cut, or a bare name, which would be looked for elsewhere
    }
    return {own.parent_path().native()};
}

} // namespace

const std::vector<std::filesystem::path::string_type>& OwnFolders()
{
    static NeverDestroyed<const std::vector<std::filesystem::path::string_type>> folders(FindOwnFolders());
    return folders.Get();
}

} // namespace front
