#include "tools/tavrik-setup/doctor/system/shared_library.h"

#include "softcard/base/text.h"
#include "tools/tavrik-setup/doctor/system/windows/module_path.h"
#include "tools/tavrik-setup/files/system/windows/error_text.h"

namespace setup {

void* LoadByPath(const std::filesystem::path& file, std::string& reason)
{
    HMODULE library = LoadLibraryExW(file.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    reason = library == nullptr ? softcard::Utf8Of(file) + ": " + ErrorText(GetLastError()) : "";
    return library;
}

void* FindFunction(void* library, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

std::string FileOf(void* library)
{
    return softcard::Utf8Of(ModulePath(GetCurrentProcess(), static_cast<HMODULE>(library)));
}

} // namespace setup
