// The library as a file in a process: where it lies, what it loads, who hosts it.
#include "src/platform/platform.h"
#include "src/platform/windows/system_text.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

namespace {

constexpr std::size_t longestPath = 1023;   // characters
constexpr std::size_t longestBaseName = 62; // characters

std::filesystem::path FileOf(HMODULE module)
{
    std::array<wchar_t, longestPath + 1> file{};
    GetModuleFileNameW(module, file.data(), static_cast<DWORD>(longestPath));
    return file.data();
}

std::filesystem::path FindModuleDirectory()
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&Platform::ModuleDirectory), &module);
    const std::wstring file = FileOf(module).native();
    const auto separator = file.rfind(L'\\');
    return separator == std::wstring::npos ? std::wstring() : file.substr(0, separator);
}

// The absolute ones among the folders of the variable PATH, each with a semicolon behind it.
std::wstring FoldersOfPath()
{
    std::wstring path(GetEnvironmentVariableW(L"PATH", nullptr, 0), L'\0');
    path.resize(GetEnvironmentVariableW(L"PATH", path.data(), static_cast<DWORD>(path.size())));
    std::wstring folders;
    std::size_t begin = 0;
    while (begin < path.size()) {
        const std::size_t end = std::min(path.find(L';', begin), path.size());
        const std::wstring folder = path.substr(begin, end - begin);
        if (std::filesystem::path(folder).is_absolute()) {
            folders.append(folder).append(L";");
        }
        begin = end + 1;
    }
    return folders;
}

// The folders of Windows' ordinary search in their order, without the current one, where anybody may have put
// something.
std::wstring SearchFolders()
{
    std::array<wchar_t, longestPath + 1> folder{};
    std::wstring folders = FileOf(nullptr).parent_path().native() + L";";
    if (GetDllDirectoryW(static_cast<DWORD>(folder.size()), folder.data()) < folder.size() &&
        std::filesystem::path(folder.data()).is_absolute()) {
        folders.append(folder.data()).append(L";");
    }
    for (const auto get : {GetSystemDirectoryW, GetWindowsDirectoryW}) {
        if (get(folder.data(), static_cast<UINT>(folder.size())) < folder.size()) {
            folders.append(folder.data()).append(L";");
        }
    }
    return folders + FoldersOfPath();
}

// By a full path, so that what the library needs in turn is looked for beside it.
HMODULE Open(const std::filesystem::path& file)
{
    return LoadLibraryExW(file.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

// By the name alone: one that the process has already, or the first that the search finds.
HMODULE OpenByName(const std::filesystem::path& name)
{
    HMODULE loaded = nullptr;
    if (GetModuleHandleExW(0, name.c_str(), &loaded) != FALSE) {
        return loaded;
    }
    std::array<wchar_t, longestPath + 1> file{};
    const DWORD length = SearchPathW(SearchFolders().c_str(), name.c_str(), nullptr,
                                     static_cast<DWORD>(file.size()), file.data(), nullptr);
    if (length == 0 || length >= file.size()) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    return Open(file.data());
}

[[noreturn]] void ThrowLastError(const std::string& subject)
{
    throw std::runtime_error(subject + ": " + ErrorText(GetLastError()));
}

class Snapshot
{
public:
    Snapshot() : handle(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)) {}
    ~Snapshot()
    {
        if (handle != INVALID_HANDLE_VALUE) {
            CloseHandle(handle);
        }
    }
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

    // The name of the executable of a process; empty when there is no such process.
    [[nodiscard]] std::u16string NameOf(DWORD process) const
    {
        PROCESSENTRY32W entry{};
        entry.dwSize = sizeof(entry);
        for (BOOL found = Process32FirstW(handle, &entry); found != FALSE;
             found = Process32NextW(handle, &entry)) {
            if (entry.th32ProcessID == process) {
                return TextOf(entry.szExeFile);
            }
        }
        return {};
    }

private:
    HANDLE handle;
};

} // namespace

const std::filesystem::path& Platform::ModuleDirectory()
{
    static const std::filesystem::path directory = FindModuleDirectory();
    return directory;
}

void Platform::SearchLibrariesIn(const std::filesystem::path& directory)
{
    SetDllDirectoryW(directory.c_str());
}

std::string Platform::LibraryFileName(const std::string& stem)
{
    return stem + ".dll";
}

void* Platform::LoadSharedLibrary(const std::filesystem::path& file)
{
    HMODULE library = file.is_absolute() ? Open(file) : OpenByName(file);
    if (library == nullptr) {
        ThrowLastError(NarrowPath(file, longestPath));
    }
    return library;
}

void* Platform::FindSymbol(void* library, const char* name)
{
    const FARPROC symbol = GetProcAddress(static_cast<HMODULE>(library), name);
    if (symbol == nullptr) {
        ThrowLastError(name);
    }
    return reinterpret_cast<void*>(symbol);
}

std::filesystem::path Platform::ExecutablePath()
{
    return FileOf(nullptr);
}

std::string Platform::ExecutableName()
{
    std::array<char, longestBaseName + 1> name{};
    K32GetModuleBaseNameA(GetCurrentProcess(), nullptr, name.data(), static_cast<DWORD>(name.size()));
    name.back() = '\0';
    return name.data();
}

std::u16string Platform::ProcessName()
{
    return Snapshot().NameOf(GetCurrentProcessId());
}
