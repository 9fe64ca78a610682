#include "tests/support/windows/loaded_image.h"

#include <windows.h>

namespace blackbox {

template <typename Record>
const Record* LoadedImage::At(unsigned long offset) const
{
    return reinterpret_cast<const Record*>(base + offset);
}

template <typename Record>
const Record* LoadedImage::Directory(unsigned number) const
{
    const auto start = static_cast<unsigned long>(At<IMAGE_DOS_HEADER>(0)->e_lfanew);
    const auto& entry = At<IMAGE_NT_HEADERS64>(start)->OptionalHeader.DataDirectory[number];
    return entry.VirtualAddress == 0 ? nullptr : At<Record>(entry.VirtualAddress);
}

std::vector<std::string> LoadedImage::ExportedNames() const
{
    std::vector<std::string> names;
    const auto* table = Directory<IMAGE_EXPORT_DIRECTORY>(IMAGE_DIRECTORY_ENTRY_EXPORT);
    for (DWORD i = 0; table != nullptr && i < table->NumberOfNames; ++i) {
        names.emplace_back(At<char>(At<DWORD>(table->AddressOfNames)[i]));
    }
    return names;
}

std::vector<std::string> LoadedImage::NeededLibraries() const
{
    std::vector<std::string> libraries;
    const auto* entry = Directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT);
    for (; entry != nullptr && entry->Name != 0; ++entry) {
        libraries.emplace_back(At<char>(entry->Name));
    }
    const auto* delayed = Directory<IMAGE_DELAYLOAD_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT);
    for (; delayed != nullptr && delayed->DllNameRVA != 0; ++delayed) {
        libraries.emplace_back(At<char>(delayed->DllNameRVA));
    }
    return libraries;
}

std::vector<std::string> LoadedImage::ImportedNames() const
{
    std::vector<std::string> names;
    const auto* entry = Directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT);
    for (; entry != nullptr && entry->Name != 0; ++entry) {
        const auto* thunk = At<IMAGE_THUNK_DATA64>(entry->OriginalFirstThunk);
        for (; thunk->u1.AddressOfData != 0; ++thunk) {
            if (!IMAGE_SNAP_BY_ORDINAL64(thunk->u1.Ordinal)) {
                const auto offset = static_cast<unsigned long>(thunk->u1.AddressOfData);
                names.emplace_back(At<IMAGE_IMPORT_BY_NAME>(offset)->Name);
            }
        }
    }
    return names;
}

} // namespace blackbox
