#include "../module.h"

#include <stdexcept>

#include <dlfcn.h>

void* LoadModule(const std::filesystem::path& file)
{
    void* module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return module;
}

void* FunctionOf(void* module, const char* name)
{
    return dlsym(module, name);
}

// In lib/, beside the program's bin/.
std::filesystem::path LibraryBesideProgram()
{
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "../lib/libpkcs11_x64.so";
}

std::vector<std::string> WordsOf(int count, char** words)
{
    return {words + (count > 0 ? 1 : 0), words + count};
}
