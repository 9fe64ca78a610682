#include "front/system/library_file.h"

#include <windows.h>

namespace front {

void* LoadLibraryFile(const std::filesystem::path& folder)
{
    // What the library needs in turn is looked for beside it.
    return LoadLibraryExW((folder / L"pkcs11_x64.dll").c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

void* FindFunction(void* library, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void UnloadLibraryFile(void* library)
{
    FreeLibrary(static_cast<HMODULE>(library));
}

} // namespace front
