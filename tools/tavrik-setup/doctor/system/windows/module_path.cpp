#include "tools/tavrik-setup/doctor/system/windows/module_path.h"

#include <string>

#include <psapi.h>

namespace setup {
namespace {

constexpr size_t longestModulePath = 32768; // characters

} // namespace

std::filesystem::path ModulePath(HANDLE process, HMODULE module)
{
    std::wstring path(longestModulePath, L'\0');
    path.resize(K32GetModuleFileNameExW(process, module, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

} // namespace setup
