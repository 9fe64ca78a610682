#include "../module.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <stdexcept>

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

namespace {

std::string ToUtf8(const std::wstring& wide)
{
    const auto length = static_cast<int>(wide.size());
    const int needed = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, text.data(), needed, nullptr, nullptr);
    return text;
}

std::string LastFailure()
{
    const DWORD error = GetLastError();
    std::array<wchar_t, 512> text{};
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        error, 0, text.data(), static_cast<DWORD>(text.size()), nullptr);
    std::string sentence = ToUtf8(std::wstring(text.data(), length));
    sentence.erase(sentence.find_last_not_of(" \r\n") + 1);
    return sentence.empty() ? "Error " + std::to_string(error) + "." : sentence;
}

} // namespace

void* LoadModule(const std::filesystem::path& file)
{
    const std::filesystem::path whole = std::filesystem::absolute(file).make_preferred();
    HMODULE module = LoadLibraryExW(whole.c_str(), nullptr,
                                    LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (module == nullptr && GetLastError() == ERROR_INVALID_PARAMETER) {
        // Windows 7 without an update of 2011 does not know these words.
        module = LoadLibraryExW(whole.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    }
    if (module == nullptr) {
        throw std::runtime_error(LastFailure());
    }
    return module;
}

void* FunctionOf(void* module, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

std::filesystem::path LibraryBesideProgram()
{
    std::wstring path(MAX_PATH, L'\0');
    DWORD length = 0;
    while ((length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()))) ==
           path.size()) {
        path.resize(path.size() * 2);
    }
    path.resize(length);
    return std::filesystem::path(path).parent_path() / L"pkcs11_x64.dll";
}

// What main gets is in the code page, which lacks most characters.
std::vector<std::string> WordsOf(int /*count*/, char** /*words*/)
{
    for (FILE* stream : {stdout, stderr}) {
        _setmode(_fileno(stream), _O_BINARY);
    }
    SetConsoleOutputCP(CP_UTF8);
    int count = 0;
    wchar_t** words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> texts;
    for (int i = 1; i < count; ++i) {
        texts.push_back(ToUtf8(words[i]));
    }
    LocalFree(words);
    return texts;
}
