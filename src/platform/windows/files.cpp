// Paths, and folders with their entries.
#include "src/platform/platform.h"
#include "src/platform/windows/system_text.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>

namespace {

// As the file system compares names.
int CompareNames(std::wstring_view first, std::wstring_view second)
{
    return CompareStringOrdinal(first.data(), static_cast<int>(first.size()), second.data(),
                                static_cast<int>(second.size()), TRUE) -
           CSTR_EQUAL;
}

bool IsControl(wchar_t character)
{
    return character < L' ' || (character >= 0x7F && character <= 0x9F);
}

bool NameBeginsWith(std::wstring_view name, std::wstring_view begin)
{
    return CompareNames(name.substr(0, begin.size()), begin) == 0;
}

std::vector<std::wstring> FindEntries(const std::wstring& mask)
{
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW entry{};
    HANDLE search = FindFirstFileW(mask.c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) {
        return names;
    }
    do {
        names.emplace_back(entry.cFileName);
    } while (FindNextFileW(search, &entry) != FALSE);
    FindClose(search);
    return names;
}

} // namespace

std::filesystem::path Platform::PathOf(std::u16string_view path)
{
    return SystemText(path);
}

std::u16string Platform::WideText(const std::string& text)
{
    const auto size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0'); // no character takes more units there than bytes here
    const int length =
        MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text.data(), size, wide.data(), size);
    return TextOf(std::wstring_view(wide).substr(0, static_cast<std::size_t>(std::max(length, 0))));
}

// As the C library of the host's locale has it, up to the first character that the locale does not have.
std::string Platform::NarrowPath(const std::filesystem::path& path, std::size_t limit)
{
    std::vector<char> text(limit + 1);
    static_cast<void>(std::wcstombs(text.data(), path.c_str(), limit));
    return text.data();
}

std::string Platform::PrintablePath(const std::filesystem::path& path, std::size_t limit)
{
    std::wstring text = path.native();
    std::replace_if(text.begin(), text.end(), IsControl, L'?');
    return NarrowPath(text, limit);
}

std::vector<std::u16string> Platform::ListEntries(std::u16string_view mask)
{
    const std::wstring systemMask = SystemText(mask);
    const auto name = std::wstring_view(systemMask).substr(systemMask.find_last_of(L"\\/:") + 1);
    const auto begin = name.ends_with(L'*') ? name.substr(0, name.size() - 1) : name;

    auto names = FindEntries(systemMask);
    // Windows also finds what matches by its short name only, and the two names that every folder has.
    std::erase_if(names, [begin](const auto& found) {
        return found == L"." || found == L".." || !NameBeginsWith(found, begin);
    });
    std::sort(names.begin(), names.end(),
              [](const auto& first, const auto& second) { return CompareNames(first, second) < 0; });

    std::vector<std::u16string> listed;
    listed.reserve(names.size());
    for (const auto& found : names) {
        listed.push_back(TextOf(found));
    }
    return listed;
}

void Platform::MoveEntry(const std::filesystem::path& from, const std::filesystem::path& to)
{
    MoveFileW(from.c_str(), to.c_str());
}

void Platform::RemoveFile(const std::filesystem::path& file)
{
    DeleteFileW(file.c_str());
}
