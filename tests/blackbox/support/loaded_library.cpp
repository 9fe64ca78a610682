#include "loaded_library.h"

#include "black_box_test.h"

#include <dlfcn.h>
#include <unistd.h>

#include <stdexcept>

extern "C" {
// Of the leak checker, in builds that have it; they act on the calling thread.
__attribute__((weak)) void __lsan_disable();
__attribute__((weak)) void __lsan_enable();
}

namespace BlackBox {
namespace {

// The library's logger and store live as long as the process, and so are out of reach once it is unloaded.
// What is allocated between the two calls is no leak to the checker.
void ExpectLeaks(bool expected)
{
    if (__lsan_disable != nullptr && __lsan_enable != nullptr) {
        (expected ? __lsan_disable : __lsan_enable)();
    }
}

} // namespace

LoadedLibrary::LoadedLibrary(std::filesystem::path library) : file(std::move(library)), handle(nullptr)
{
    ExpectLeaks(true);
    handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        ExpectLeaks(false);
        throw std::runtime_error(dlerror());
    }
    auto* const getList = reinterpret_cast<decltype(&C_GetFunctionList)>(dlsym(handle, "C_GetFunctionList"));
    if (getList == nullptr || getList(&f) != CKR_OK) {
        throw std::runtime_error("no function list");
    }
}

LoadedLibrary::~LoadedLibrary()
{
    Unload();
}

void LoadedLibrary::Unload()
{
    if (handle != nullptr) {
        dlclose(handle);
        ExpectLeaks(false);
    }
    handle = nullptr;
    f = nullptr;
}

bool LoadedLibrary::IsInMemory() const
{
    void* const found = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (found == nullptr) {
        return false;
    }
    dlclose(found);
    return true;
}

FolderWithLibrary::FolderWithLibrary()
    : folder(std::filesystem::temp_directory_path() / ("tavrik_alone_" + std::to_string(getpid())))
{
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(std::filesystem::canonical(ScriptedFolder() / "libpkcs11_x64.so"), Library(),
                               std::filesystem::copy_options::overwrite_existing);
}

FolderWithLibrary::~FolderWithLibrary()
{
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

} // namespace BlackBox
