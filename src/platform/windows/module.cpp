// The library as a file in a process: where it lies, what it loads, who hosts it.
#include "platform/platform.h"
#include "platform/windows/system_text.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <array>
#include <stdexcept>

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
    // What a library with a full path needs in turn is looked for beside it.
    const DWORD search = file.is_absolute() ? LOAD_WITH_ALTERED_SEARCH_PATH : 0;
    HMODULE library = LoadLibraryExW(file.c_str(), nullptr, search);
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
