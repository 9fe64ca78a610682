#include "front/system/library_file.h"

#include <dlfcn.h>

namespace front {

void* LoadLibraryFile(const std::filesystem::path& folder)
{
    return dlopen((folder / "libpkcs11_x64.so").c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* FindFunction(void* library, const char* name)
{
    return dlsym(library, name);
}

void UnloadLibraryFile(void* library)
{
    dlclose(library);
}

} // namespace front
