#include "tests/softcard/shared_library.h"

#include <stdexcept>

#include <windows.h>

namespace softcard::test {

void* FindInLibrary(const std::filesystem::path& library, const char* symbol)
{
    HMODULE loaded = LoadLibraryW(library.c_str());
    return loaded == nullptr ? nullptr : reinterpret_cast<void*>(GetProcAddress(loaded, symbol));
}

// From the table in the loaded library, as the loader reads it.
std::vector<std::string> ExportsOf(const std::filesystem::path& library)
{
    HMODULE loaded = LoadLibraryW(library.c_str());
    if (loaded == nullptr) {
        throw std::runtime_error("The library cannot be loaded.");
    }
    const auto* base = reinterpret_cast<const unsigned char*>(loaded);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& place = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    const auto* exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + place.VirtualAddress);
    const auto* names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    if (exports->NumberOfFunctions != exports->NumberOfNames) {
        throw std::runtime_error("The library exports something without a name.");
    }
    std::vector<std::string> found;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
        found.emplace_back(reinterpret_cast<const char*>(base + names[i]));
    }
    return found;
}

} // namespace softcard::test
