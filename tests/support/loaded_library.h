// The library under test loaded by its file, for tests of loading and unloading. They must not use Library()
// beside it.
#pragma once

#include "tavrik/cryptoki.h"

#include <filesystem>
#include <string>

namespace blackbox {

class LoadedLibrary
{
public:
    explicit LoadedLibrary(std::filesystem::path library); // throws std::runtime_error when it does not load
    ~LoadedLibrary();
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    void Unload();
    bool IsInMemory() const; // asks the loader, also after Unload

    CK_FUNCTION_LIST* f = nullptr; // null after Unload

private:
    std::filesystem::path file;
    void* handle;
};

// A new folder with a copy of the library under test, and with nothing else; it goes with the object.
class FolderWithLibrary
{
public:
    FolderWithLibrary();
    ~FolderWithLibrary();
    FolderWithLibrary(const FolderWithLibrary&) = delete;
    FolderWithLibrary& operator=(const FolderWithLibrary&) = delete;

    std::filesystem::path Library() const;

    const std::filesystem::path folder;
};

} // namespace blackbox
