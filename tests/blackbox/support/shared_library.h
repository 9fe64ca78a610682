// Shared libraries, loaded by a test or its host.
#pragma once

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

namespace BlackBox {

// Both throw std::runtime_error with the loader's reason.
inline void* Load(const std::filesystem::path& file)
{
    void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return library;
}

inline void* SymbolOf(void* library, const char* name)
{
    void* symbol = dlsym(library, name);
    if (symbol == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return symbol;
}

} // namespace BlackBox
