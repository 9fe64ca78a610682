// The library as a file in a process: where it lies, what it loads, who hosts it.
#include "platform/platform.h"

#include <dlfcn.h>

#include <stdexcept>

namespace {

std::filesystem::path FindModuleDirectory()
{
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&Platform::ModuleDirectory), &info) == 0 ||
        info.dli_fname == nullptr) {
        return {};
    }
    const auto directory = std::filesystem::path(info.dli_fname).parent_path();
    return directory.empty() ? directory : std::filesystem::absolute(directory);
}

} // namespace

const std::filesystem::path& Platform::ModuleDirectory()
{
    static const std::filesystem::path directory = FindModuleDirectory();
    return directory;
}

void Platform::SearchLibrariesIn(const std::filesystem::path& directory)
{
    // Nothing to set: the run path of the library begins with $ORIGIN, and libraries bound later are asked
    // for by their full path first.
    static_cast<void>(directory);
}

std::string Platform::LibraryFileName(const std::string& stem)
{
    return "lib" + stem + ".so";
}

void* Platform::LoadSharedLibrary(const std::filesystem::path& file)
{
    void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return library;
}

void* Platform::FindSymbol(void* library, const char* name)
{
    void* symbol = dlsym(library, name);
    if (symbol == nullptr) {
        const char* reason = dlerror();
        throw std::runtime_error(reason != nullptr ? reason : "the symbol is null");
    }
    return symbol;
}

std::filesystem::path Platform::ExecutablePath()
{
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

std::string Platform::ExecutableName()
{
    return ExecutablePath().filename().string();
}

std::u16string Platform::ProcessName()
{
    return WideText(ExecutableName());
}
