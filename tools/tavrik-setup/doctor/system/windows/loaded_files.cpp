#include "tools/tavrik-setup/doctor/loaded_files.h"

#include "softcard/base/text.h"
#include "softcard/system/windows/handle.h"
#include "tools/tavrik-setup/doctor/system/windows/module_path.h"

#include <algorithm>

#include <psapi.h>
#include <tlhelp32.h>

namespace setup {
namespace {

namespace fs = std::filesystem;
using softcard::Handle;
using softcard::Own;

constexpr size_t usualModules = 256;

// None when Windows does not tell. Between the look for how many there are and the look at them there can be more.
std::vector<HMODULE> ModulesOf(HANDLE process)
{
    std::vector<HMODULE> modules(usualModules);
    DWORD needed = 0;
    while (K32EnumProcessModulesEx(process, modules.data(),
                                   static_cast<DWORD>(modules.size() * sizeof(HMODULE)), &needed,
                                   LIST_MODULES_ALL) != FALSE) {
        const size_t count = needed / sizeof(HMODULE);
        const bool isAll = count <= modules.size();
        modules.resize(count);
        if (isAll) {
            return modules;
        }
    }
    return {};
}

bool IsSameFile(const fs::path& one, const fs::path& other)
{
    return CompareStringOrdinal(one.c_str(), -1, other.c_str(), -1, TRUE) == CSTR_EQUAL;
}

bool HasLoaded(DWORD id, const fs::path& file)
{
    const Handle process = Own(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, id));
    const std::vector<HMODULE> modules = process ? ModulesOf(process.get()) : std::vector<HMODULE>();
    return std::any_of(modules.begin(), modules.end(),
                       [&](HMODULE module) { return IsSameFile(ModulePath(process.get(), module), file); });
}

} // namespace

nlohmann::json LoadedFiles()
{
    nlohmann::json files = nlohmann::json::object();
    for (HMODULE module : ModulesOf(GetCurrentProcess())) {
        const fs::path file = ModulePath(GetCurrentProcess(), module);
        files[softcard::Utf8Of(file.filename())] = softcard::Utf8Of(file);
    }
    return files;
}

std::vector<std::string> ProgramsWith(const fs::path& file)
{
    std::vector<std::string> programs;
    const Handle list = Own(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL found = list ? Process32FirstW(list.get(), &entry) : FALSE; found != FALSE;
         found = Process32NextW(list.get(), &entry)) {
        const DWORD id = entry.th32ProcessID;
        if (id != GetCurrentProcessId() && HasLoaded(id, file)) {
            programs.push_back(softcard::Utf8Of(entry.szExeFile) + " (" + std::to_string(id) + ")");
        }
    }
    return programs;
}

} // namespace setup
