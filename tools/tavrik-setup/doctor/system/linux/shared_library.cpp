#include "tools/tavrik-setup/doctor/system/shared_library.h"

#include <dlfcn.h>
#include <link.h>

namespace setup {

void* LoadByPath(const std::filesystem::path& file, std::string& reason)
{
    void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    reason = library == nullptr ? dlerror() : "";
    return library;
}

void* FindFunction(void* library, const char* name)
{
    return dlsym(library, name);
}

std::string FileOf(void* library)
{
    link_map* map = nullptr;
    return dlinfo(library, RTLD_DI_LINKMAP, &map) == 0 ? std::string(map->l_name) : std::string();
}

} // namespace setup
