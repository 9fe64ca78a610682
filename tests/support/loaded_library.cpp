#include "tests/support/loaded_library.h"

#include "tests/support/black_box_test.h"
#include "tests/support/system.h"

#include <stdexcept>

namespace blackbox {
LoadedLibrary::LoadedLibrary(std::filesystem::path library) : file(std::move(library)), handle(nullptr)
{
    ExpectLeaks(true);
    try {
        handle = Load(file);
    } catch (...) {
        ExpectLeaks(false);
        throw;
    }
    auto* const getList =
        reinterpret_cast<decltype(&C_GetFunctionList)>(SymbolOf(handle, "C_GetFunctionList"));
    if (getList(&f) != CKR_OK) {
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
        blackbox::Unload(handle);
        ExpectLeaks(false);
    }
    handle = nullptr;
    f = nullptr;
}

bool LoadedLibrary::IsInMemory() const
{
    return LoadedFrom(file) != nullptr;
}

std::filesystem::path FolderWithLibrary::Library() const
{
    return folder / LibraryFileName("pkcs11_x64");
}

FolderWithLibrary::FolderWithLibrary()
    : folder(std::filesystem::temp_directory_path() / ("tavrik_alone_" + std::to_string(ProcessId())))
{
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(std::filesystem::canonical(ScriptedFolder() / LibraryFileName("pkcs11_x64")),
                               Library(), std::filesystem::copy_options::overwrite_existing);
}

FolderWithLibrary::~FolderWithLibrary()
{
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

} // namespace blackbox
