// The library as a file in a process: where it lies, what it loads, who hosts it.
#include "src/platform/platform.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

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

void* Open(const std::filesystem::path& file, int flags = 0)
{
    return dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | flags);
}

// The folders in which the loader looks for what this library asks for by its bare name, but for those that
// only its cache knows.
std::vector<std::filesystem::path> SearchFolders()
{
    Dl_info info{};
    void* self = nullptr;
    Dl_serinfo size{};
    const auto* const here = reinterpret_cast<const void*>(&Platform::ModuleDirectory);
    if (dladdr1(here, &info, &self, RTLD_DL_LINKMAP) == 0 || dlinfo(self, RTLD_DI_SERINFOSIZE, &size) != 0) {
        return {};
    }
    std::vector<std::max_align_t> storage(size.dls_size / sizeof(std::max_align_t) + 1);
    auto* const search = reinterpret_cast<Dl_serinfo*>(storage.data());
    *search = size;
    if (dlinfo(self, RTLD_DI_SERINFO, search) != 0) {
        return {};
    }
    std::vector<std::filesystem::path> folders;
    for (unsigned i = 0; i < search->dls_cnt; ++i) {
        folders.emplace_back(search->dls_serpath[i].dls_name);
    }
    return folders;
}

// The loader's ordinary search for a bare name. A folder that counts from the current one, as an empty part
// of LD_LIBRARY_PATH does, is left out, because anybody may have put something there. The loader cannot be
// told so; with such a folder in its search, the others are looked into one by one.
void* OpenByName(const std::filesystem::path& name)
{
    const auto folders = SearchFolders();
    if (std::all_of(folders.begin(), folders.end(),
                    [](const auto& folder) { return folder.is_absolute(); })) {
        return Open(name);
    }
    if (void* const loaded = Open(name, RTLD_NOLOAD)) {
        return loaded;
    }
    for (const auto& folder : folders) {
        std::error_code error;
        if (folder.is_absolute() && std::filesystem::exists(folder / name, error)) {
            return Open(folder / name);
        }
    }
    throw std::runtime_error(name.string() + ": in no folder of the loader's search with an absolute path");
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
    void* library = file.has_parent_path() ? Open(file) : OpenByName(file);
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
